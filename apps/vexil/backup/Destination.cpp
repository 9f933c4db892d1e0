#include "apps/vexil/backup/Destination.h"

#include "apps/vexil/base/HostAndPort.h"
#include "apps/vexil/base/Text.h"
#include "vexil/net/URLRedaction.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>

namespace vexil::app {

namespace {

constexpr int hexadecimal = 16;
constexpr std::size_t digitsOfAByte = 2;

/// A URL in its parts, none of them decoded.
struct CURLParts {
    std::string scheme;     // in lower case
    std::string authority;  // between "//" and the next "/"
    std::string path;       // "" or with "/" at its beginning
};

[[noreturn]] void fail(const std::string& url, const String& problem) {
    throw CInvalidArgError("CDestination::parse", "the destination '" +
                                                      printable(redactURL(String::fromUTF8Lossy(url))) +
                                                      "' " + problem);
}

constexpr const char* forms =
    "is not one of s3://BUCKET/PREFIX, ftp://HOST/DIRECTORY, ftps://HOST/DIRECTORY and file:///FOLDER";

CURLParts split(const std::string& url) {
    const std::size_t colon = url.find("://");
    if (colon == std::string::npos) {
        fail(url, forms);
    }
    const std::size_t begin = colon + 3;
    const std::size_t slash = std::min(url.find('/', begin), url.size());
    return {String::fromUTF8Lossy(url.substr(0, colon)).toLower().toUTF8(), url.substr(begin, slash - begin),
            url.substr(slash)};
}

/// The bytes that a part of a URL stands for.
std::string decode(const std::string& url, std::string_view part) {
    std::string bytes;
    while (!part.empty()) {
        if (part.front() == '?' || part.front() == '#') {
            fail(url, String("has a '") + (part.front() == '?' ? "?" : "#") + "', which must be written as " +
                          (part.front() == '?' ? "%3F" : "%23"));
        }
        unsigned char byte = 0;
        if (part.front() != '%') {
            bytes += part.front();
            part.remove_prefix(1);
            continue;
        }
        const std::string_view digits = part.substr(1, digitsOfAByte);
        const auto [end, failure] =
            std::from_chars(digits.data(), digits.data() + digits.size(), byte, hexadecimal);
        if (digits.size() != digitsOfAByte || failure != std::errc() ||
            end != digits.data() + digits.size() || byte == 0) {
            fail(url,
                 "has a '%' that is not followed by the digits of a byte; a '%' itself is written as %25");
        }
        bytes += static_cast<char>(byte);
        part.remove_prefix(1 + digitsOfAByte);
    }
    return bytes;
}

String decodeText(const std::string& url, std::string_view part) {
    const std::string bytes = decode(url, part);
    try {
        return String::fromUTF8(bytes);
    } catch (const CError&) {
        fail(url, "is not UTF-8 text");
    }
}

CDestination makeS3(const std::string& url, const CURLParts& parts) {
    CDestination destination;
    destination.kind = CDestination::Kind::S3;
    destination.bucket = decodeText(url, parts.authority);
    if (destination.bucket.isEmpty()) {
        fail(url, "has no bucket");
    }
    // No bucket has a ":": it comes from keys in the URL, the secret one with a "/".
    if (destination.bucket.find(L':') != String::npos) {
        fail(url, "has a ':' in its bucket");
    }
    // The "/" after the bucket belongs to neither of them.
    destination.prefix =
        parts.path.empty() ? String() : decodeText(url, std::string_view(parts.path).substr(1));
    return destination;
}

CDestination makeFTP(const std::string& url, const CURLParts& parts, FTPSecurity security) {
    CDestination destination;
    destination.kind = CDestination::Kind::FTP;
    destination.security = security;
    destination.server = String::fromUTF8Lossy(parts.authority);
    if (destination.server.isEmpty()) {
        fail(url, "has no host");
    }
    try {
        CHostAndPort::parse(destination.server);
    } catch (const CError&) {
        fail(url, "has a host that is not HOST or HOST:PORT");
    }
    destination.directory = parts.path.empty() ? "/" : decodeText(url, parts.path).toUTF8();
    return destination;
}

bool beginsWithDrive(const std::string& path) {
    return path.size() > 2 && path[0] == '/' && path[2] == ':';
}

CDestination makeFolder(const std::string& url, const CURLParts& parts) {
    if (!parts.authority.empty() && parts.authority != "localhost") {
        fail(url, "names a folder of another computer; a folder of this one is written as file:///FOLDER");
    }
    if (parts.path.empty()) {
        fail(url, "has no folder");
    }
    const std::string path = decode(url, parts.path);
    CDestination destination;
    destination.kind = CDestination::Kind::Folder;
    const std::filesystem::path folder = toPath(path);
    // On Windows "/C:/backups" stands for "C:/backups".
    destination.folder = !folder.is_absolute() && beginsWithDrive(path) ? toPath(path.substr(1)) : folder;
    return destination;
}

}  // namespace

CDestination CDestination::parse(const std::string& url, FTPSecurity ftpSecurity) {
    const CURLParts parts = split(url);
    if (parts.authority.find('@') != std::string::npos) {
        fail(
            url,
            "has a login, which other users of the computer can read there; it belongs into the environment or "
            "the file of --credentials");
    }
    if (parts.scheme == "s3") {
        return makeS3(url, parts);
    }
    if (parts.scheme == "ftp") {
        if (ftpSecurity == FTPSecurity::Implicit) {
            fail(url, "is not for TLS from the first byte: that is ftps://");
        }
        return makeFTP(url, parts, ftpSecurity);
    }
    if (parts.scheme == "ftps") {
        if (ftpSecurity == FTPSecurity::None) {
            fail(url, "demands TLS, and --tls none forbids it");
        }
        return makeFTP(url, parts, FTPSecurity::Implicit);
    }
    if (parts.scheme == "file") {
        return makeFolder(url, parts);
    }
    fail(url, forms);
}

}  // namespace vexil::app
