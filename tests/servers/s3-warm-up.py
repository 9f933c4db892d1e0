"""Makes and deletes one bucket with one object, so that the server has made its storage pools.

The first bucket and the first object would otherwise take a second each, in the middle of a test.
It also proves that the server behind the port is ours: only that one knows the keys.
"""
import base64
import email.utils
import hashlib
import hmac
import http.client
import os
import sys
import urllib.parse


def main():
    endpoint = urllib.parse.urlsplit(os.environ["VEXIL_S3_ENDPOINT"])
    access_key = os.environ["VEXIL_S3_ACCESS_KEY"]
    secret_key = os.environ["VEXIL_S3_SECRET_KEY"]
    connection = http.client.HTTPConnection(endpoint.hostname, endpoint.port, timeout=180)

    def request(method, path, expected_status):
        date = email.utils.formatdate(usegmt=True)
        text = "%s\n\n\n%s\n%s" % (method, date, path)
        signature = base64.b64encode(hmac.new(secret_key.encode(), text.encode(), hashlib.sha1).digest()).decode()
        connection.request(method, path, headers={
            "Date": date, "Content-Length": "0", "Authorization": "AWS %s:%s" % (access_key, signature)})
        response = connection.getresponse()
        body = response.read()
        if response.status != expected_status:
            sys.exit("%s %s: HTTP %d %r" % (method, path, response.status, body))

    bucket = "/warm-up-" + os.urandom(8).hex()
    request("PUT", bucket, 200)
    request("PUT", bucket + "/object", 200)
    request("DELETE", bucket + "/object", 204)
    request("DELETE", bucket, 204)


main()
