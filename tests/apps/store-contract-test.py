#!/usr/bin/env python3
"""Runs StoreContractTest with servers that fail in the folders of some of its tests.

Usage: store-contract-test.py TEST_PROGRAM [ARGUMENT...]
"""

import os
import subprocess
import sys

import fake_ftp
import fake_s3

CUT = 1000000


def s3_faults():
    """By key. Each request about the key uses up one entry, also the one that stores the file."""
    def cut():
        return fake_s3.Fault(cut=CUT)

    return {
        "AnInterruptedUploadLeavesTheOldFile/old": [None, cut()],
        "AnInterruptedUploadLeavesTheOldFile/new": [cut()],
        "AnInterruptedUploadSucceedsLater/file": [cut()],
        "AnInterruptedUploadIsTriedAgain/file": [cut(), cut()],
        "AnUploadOfWhichTheServerStoresSomethingElseFails/file": [fake_s3.Fault(flip=CUT)],
        "AnInterruptedDownloadSucceedsLater/file": [None, cut()],
        "AnInterruptedDownloadContinues/file": [None, cut(), cut()],
        "ALeftBeginningIsContinuedIfTheContentIsKnown/file": [None, cut()],
        "?prefix=ABrokenListingDoesNotLookComplete/": [None, fake_s3.Fault(status=500)],
    }


def ftp_faults():
    """By command. Uploads have other names until they are complete."""
    def cut():
        return fake_ftp.Fault(cut=CUT)

    return {
        "STOR /AnInterruptedUploadLeavesTheOldFile/.old*": [fake_ftp.Fault(), cut()],
        "STOR /AnInterruptedUploadLeavesTheOldFile/.new*": [cut()],
        "STOR /AnInterruptedUploadSucceedsLater/*": [cut()],
        "STOR /AnInterruptedUploadIsTriedAgain/*": [cut(), cut()],
        "STOR /AnUploadOfWhichTheServerStoresSomethingElseFails/*": [fake_ftp.Fault(lose=CUT)],
        "RETR /AnInterruptedDownloadSucceedsLater/*": [cut()],
        "RETR /AnInterruptedDownloadContinues/*": [cut(), cut()],
        "MLSD /ABrokenListingDoesNotLookComplete/folder": [fake_ftp.Fault(reply="451 Not now.")],
    }


def main():
    s3 = fake_s3.FakeS3()
    s3.lists_etags = True
    s3.page_size = 7
    s3.faults = s3_faults()
    ftp = fake_ftp.FakeFTP()
    ftp.faults = ftp_faults()
    try:
        return subprocess.run(sys.argv[1:], check=False, env={
            **os.environ, "VEXIL_S3_ENDPOINT": s3.endpoint, "VEXIL_FTP_ENDPOINT": ftp.address,
            "VEXIL_STORE_FAULTS": "1"}).returncode
    finally:
        s3.close()
        ftp.close()


if __name__ == "__main__":
    sys.exit(main())
