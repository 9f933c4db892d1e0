#include "apps/vexil/ftp/ServerPartMark.h"

#include "apps/vexil/files/PartName.h"
#include "apps/vexil/platform/Platform.h"

#include <cstdio>
#include <cstdlib>

namespace vexil::app {

namespace {

constexpr std::size_t ownerDigits = 6;
constexpr std::size_t processDigits = 6;
constexpr int randomDigits = 4;
constexpr int64 processLimit = 0x1000000;

String getOwnerDigits() {
    return makeDigitsFor(String::fromUTF8Lossy(describeOwner())).substr(0, ownerDigits);
}

}  // namespace

String makeServerPartDigits() {
    char process[processDigits + 1] = {};
    std::snprintf(process, sizeof process, "%06x", static_cast<unsigned>(getProcessID() % processLimit));
    return getOwnerDigits() + process + makeRandomDigits(randomDigits);
}

bool isLeftServerPart(const String& digits) {
    if (!(digits.substr(0, ownerDigits) == getOwnerDigits())) {
        return false;
    }
    const std::string process = digits.substr(ownerDigits, processDigits).toUTF8();
    const int64 id = std::strtoll(process.c_str(), nullptr, 16);
    return id == getProcessID() % processLimit || !isProcessRunning(id);
}

}  // namespace vexil::app
