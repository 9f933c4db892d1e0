"""Makes and deletes one bucket with one object, so that the server has made its storage pools.

Otherwise the first bucket and the first object take a second each, in the middle of a test.
It also proves that the server at the port is ours: no other server knows the keys.
"""
import os

from signed_s3 import SignedS3

server = SignedS3()
bucket = "/warm-up-" + os.urandom(8).hex()
server.request("PUT", bucket)
server.request("PUT", bucket + "/object")
server.request("DELETE", bucket + "/object", 204)
server.request("DELETE", bucket, 204)
