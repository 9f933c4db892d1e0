#include "vexil/s3/S3Address.h"

#include "vexil/s3/S3URL.h"
#include "zet/ASCII.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr bool isLowerOrDigit(wchar_t c) {
    return zet::isDigit(c) || (c >= L'a' && c <= L'z');
}

}  // namespace

bool isRegionName(const String& name) {
    static constexpr std::size_t maxLength = 64;
    const auto isAllowed = [](wchar_t c) { return zet::isAlphanumeric(c) || c == L'-' || c == L'_'; };
    return !name.isEmpty() && name.length() <= maxLength &&
           std::all_of(name.view().begin(), name.view().end(), isAllowed);
}

bool isHostLabel(const String& bucket) {
    return bucket.find(L'.') == String::npos && isHostName(bucket);
}

bool isHostName(const String& bucket) {
    const std::wstring_view name = bucket.view();
    const auto isAllowed = [](wchar_t c) { return isLowerOrDigit(c) || c == L'-' || c == L'.'; };
    const auto hasEmptyLabel = [name] {
        return name.find(L"..") != name.npos || name.find(L".-") != name.npos ||
               name.find(L"-.") != name.npos;
    };
    return name.size() >= 3 && name.size() <= 63 && isLowerOrDigit(name.front()) &&
           isLowerOrDigit(name.back()) && std::all_of(name.begin(), name.end(), isAllowed) &&
           !hasEmptyLabel();
}

String makeAmazonURL(const String& baseURL, const String& region) {
    if (region == defaultS3Region) {
        return baseURL;
    }
    const String scheme = baseURL.substr(0, baseURL.find("://"));
    return scheme + "://s3." + region + ".amazonaws.com" + (region.startsWith("cn-") ? ".cn/" : "/");
}

String makeBucketURL(const String& serviceURL, const String& bucket, bool isVirtualHosted) {
    const String escaped = escapeText(bucket, false);
    if (!isVirtualHosted) {
        return serviceURL + escaped;
    }
    const std::size_t host = serviceURL.find("://") + 3;
    return serviceURL.substr(0, host) + escaped + "." +
           serviceURL.substr(host, serviceURL.length() - host - 1);
}

}  // namespace vexil
