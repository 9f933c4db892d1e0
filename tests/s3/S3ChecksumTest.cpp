#include "vexil/s3/S3ChecksumValue.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vexil::S3Checksum;

vexil::String calc(S3Checksum checksum, const std::string& bytes) {
    const vexil::P<sigil::IDigest> digest = vexil::createChecksumDigest(checksum);
    digest->update(bytes.data(), static_cast<int>(bytes.size()));
    return vexil::finishChecksum(*digest);
}

TEST(S3ChecksumTest, HasTheNamesOfTheService) {
    EXPECT_EQ(vexil::getChecksumHeader(S3Checksum::CRC32C), "x-amz-checksum-crc32c");
    EXPECT_EQ(vexil::getChecksumHeader(S3Checksum::SHA256), "x-amz-checksum-sha256");
    EXPECT_EQ(vexil::getChecksumElement(S3Checksum::CRC32C), "ChecksumCRC32C");
    EXPECT_EQ(vexil::getChecksumElement(S3Checksum::SHA256), "ChecksumSHA256");
    EXPECT_EQ(vexil::findChecksum("CRC32C"), S3Checksum::CRC32C);
    EXPECT_EQ(vexil::findChecksum("SHA256"), S3Checksum::SHA256);
}

TEST(S3ChecksumTest, HasNoNamesForNone) {
    EXPECT_EQ(vexil::getChecksumHeader(S3Checksum::None), "");
    EXPECT_EQ(vexil::getChecksumElement(S3Checksum::None), "");
    EXPECT_EQ(vexil::findChecksum(""), S3Checksum::None);
    EXPECT_EQ(vexil::findChecksum("crc32c"), S3Checksum::None);
    EXPECT_FALSE(vexil::createChecksumDigest(S3Checksum::None));
}

TEST(S3ChecksumTest, WritesTheBytesOfTheChecksumInBase64) {
    // "123456789" has the CRC32C E3069283.
    EXPECT_EQ(calc(S3Checksum::CRC32C, "123456789"), "4waSgw==");
    EXPECT_EQ(calc(S3Checksum::CRC32C, ""), "AAAAAA==");
    EXPECT_EQ(calc(S3Checksum::SHA256, ""), "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=");
    // The body of Amazon's published example of a trailer.
    EXPECT_EQ(calc(S3Checksum::CRC32C, std::string(66560, 'a')), "sOO8/Q==");
}

}  // namespace
