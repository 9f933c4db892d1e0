#!/usr/bin/env python3
"""Runs a command with a verifying front before the private S3 server.

Usage: with-servers.sh s3 -- with-verifying-front.py [--virtual-hosts] -- COMMAND...

COMMAND finds the front in VEXIL_S3_ENDPOINT. VEXIL_S3_CHECKSUMS says that it knows checksums. With --virtual-hosts the front
speaks TLS, takes buckets in host names only, and VEXIL_CA is its authority. The exit status is that of COMMAND; 1 if no
request has passed the front.
"""

import os
import subprocess
import sys
import tempfile

from verifying_s3 import VerifyingS3, make_certificates

DOMAIN = "s3.localhost"  # libcurl resolves all names that end so to this machine


def make_front(**settings):
    return VerifyingS3(os.environ["VEXIL_S3_ENDPOINT"], os.environ["VEXIL_S3_ACCESS_KEY"],
                       os.environ["VEXIL_S3_SECRET_KEY"], **settings)


def run(command, front, **variables):
    environment = {**os.environ, "VEXIL_S3_ENDPOINT": front.endpoint, "VEXIL_S3_CHECKSUMS": "1", **variables}
    status = subprocess.run(command, env=environment, check=False).returncode
    front.close()
    print("checksums: %s, composites: %s" % (sorted(set(front.checksums.verified)), front.checksums.composites))
    print("the front has passed %d requests and refused %s" % (len(front.passed), front.refused or "none"))
    return status if status != 0 or front.passed else 1


def main(arguments):
    end = arguments.index("--")
    command = arguments[end + 1:]
    if arguments[:end] != ["--virtual-hosts"]:
        return run(command, make_front())
    with tempfile.TemporaryDirectory() as folder:
        make_certificates(folder)
        return run(command, make_front(domain=DOMAIN, certificates=folder), VEXIL_CA=folder + "/ca.pem")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
