"""Signed requests to the private S3 server, in Python: their results do not depend on the code under test."""

import base64
import email.utils
import hashlib
import hmac
import http.client
import os
import urllib.parse
import xml.etree.ElementTree


class SignedS3:
    """The server that VEXIL_S3_ENDPOINT, VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY name."""

    def __init__(self):
        endpoint = urllib.parse.urlsplit(os.environ["VEXIL_S3_ENDPOINT"])
        self.access_key = os.environ["VEXIL_S3_ACCESS_KEY"]
        self.secret_key = os.environ["VEXIL_S3_SECRET_KEY"]
        self.connection = http.client.HTTPConnection(endpoint.hostname, endpoint.port, timeout=180)

    def close(self):
        self.connection.close()

    def request(self, method, path, expected_status=200, query=""):
        """Path and query must be encoded. Returns the body of the response."""
        date = email.utils.formatdate(usegmt=True)
        text = "%s\n\n\n%s\n%s" % (method, date, path)
        signature = base64.b64encode(hmac.new(self.secret_key.encode(), text.encode(), hashlib.sha1).digest()).decode()
        self.connection.request(method, path + query, headers={
            "Date": date, "Content-Length": "0", "Authorization": "AWS %s:%s" % (self.access_key, signature)})
        response = self.connection.getresponse()
        body = response.read()
        if response.status != expected_status:
            raise RuntimeError("%s %s: HTTP %d %r" % (method, path, response.status, body))
        return body

    def list(self, bucket):
        """The keys of a bucket, in the order of the server."""
        keys, is_truncated = [], True
        while is_truncated:
            marker = urllib.parse.quote(keys[-1], safe="") if keys else ""
            page = xml.etree.ElementTree.fromstring(
                self.request("GET", "/" + bucket, query="?encoding-type=url&marker=" + marker))
            keys += [urllib.parse.unquote(key.text) for key in page.iterfind("{*}Contents/{*}Key")]
            is_truncated = page.findtext("{*}IsTruncated") == "true"
        return keys

    def objects(self, bucket):
        """The bodies of all objects of a bucket, by their keys."""
        return {key: self.request("GET", "/%s/%s" % (bucket, urllib.parse.quote(key))) for key in self.list(bucket)}
