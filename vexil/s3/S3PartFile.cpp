#include "vexil/s3/S3PartFile.h"

#include "sigil/Digest.h"
#include "sigil/Hex.h"
#include "zet/DisplayText.h"
#include "zet/MTRand.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

namespace vexil {

namespace fs = std::filesystem;

namespace {

// There are never more UTF-16 units than bytes of UTF-8.
constexpr std::size_t maxStemBytes = 200;
constexpr std::size_t maxNameLength = 255;
constexpr std::size_t digitCount = 16;
constexpr int maxNames = 100;

constexpr std::string_view stateBegin = "vexil-part 1\n";
constexpr std::size_t stateSize = 512;
constexpr std::size_t maxETagLength = 200;
constexpr int64 maxParts = 1'000'000;
constexpr char isDone = '1';
constexpr char isMissing = '0';

String calcMD5(std::string_view bytes) {
    const P<sigil::IDigest> digest = sigil::CDigestType_MD5().createDigest();
    digest->update(bytes.data(), static_cast<int>(bytes.size()));
    TBuffer<unsigned char> hash;
    digest->finish(hash);
    return sigil::hexEncode(hash);
}

String makeRandomText() {
    const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
    return String::fromInt(static_cast<int64>(zet::CMTRand::getGlobal()->rand64()));
}

fs::path makePartPath(const fs::path& target, const String& content) {
    std::u8string stem = target.filename().u8string();
    if (stem.size() > maxStemBytes) {
        // Do not cut within a character: some file systems refuse that.
        std::size_t end = maxStemBytes;
        while (end > 0 && (stem[end] & 0xC0) == 0x80) {
            --end;
        }
        stem.resize(end);
    }
    fs::path name = ".";
    name += fs::path(stem);
    name += ".vexil-part-";
    name += calcMD5(content.toUTF8()).toUTF8().substr(0, digitCount);
    return target.parent_path() / name;
}

/// Whether the state can keep it.
bool isPlain(const std::string& eTag) {
    return eTag.size() <= maxETagLength &&
           std::all_of(eTag.begin(), eTag.end(), [](char c) { return c > ' ' && c <= '~'; });
}

int64 countParts(int64 size, int64 partSize) {
    return size / partSize + (size % partSize > 0 ? 1 : 0);
}

std::string sealed(std::string text) {
    text += calcMD5(text).toUTF8() + "\n";
    text.resize(stateSize, ' ');
    return text;
}

std::string makeState(const CS3PartState& state) {
    return sealed(std::string(stateBegin) + std::to_string(state.size) + "\n" +
                  std::to_string(state.partSize) + "\n" + state.eTag.toUTF8() + "\n");
}

std::string takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string line(text.substr(0, end));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    return line;
}

/// A state without its parts. Its size is -1 for a text that makeState() has not made.
CS3PartState parseState(const std::string& text) {
    const CS3PartState none{.eTag = String(), .size = -1};
    std::string_view rest = text;
    if (!rest.starts_with(stateBegin)) {
        return none;
    }
    rest.remove_prefix(stateBegin.size());
    CS3PartState state;
    state.size = zet::parseInt64(String::fromUTF8(takeLine(rest)), int64{-1});
    state.partSize = zet::parseInt64(String::fromUTF8(takeLine(rest)), int64{-1});
    const std::string eTag = takeLine(rest);
    state.eTag = String::fromUTF8(eTag);
    const bool isWhole = isPlain(eTag) && state.size > 0 && state.partSize > 0 &&
                         countParts(state.size, state.partSize) <= maxParts && makeState(state) == text;
    return isWhole ? state : none;
}

}  // namespace

CS3PartFile::CS3PartFile(const fs::path& target, const String& content) : m_target(target) {
    std::error_code failure;
    const fs::file_status status = fs::status(target, failure);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw CError("Cannot create the file '" + zet::toDisplayPath(target) + "': " +
                         (fs::is_directory(status) ? "a folder has this name" : "this is not a usual file"),
                     "system");
    }
    if (failure == std::errc::filename_too_long || target.filename().native().size() > maxNameLength) {
        check("Cannot create", ENAMETOOLONG);
    }
    open(content);
}

CS3PartFile::~CS3PartFile() {
    if (m_file.isOpen() && !(isStored() && m_hasMarks)) {
        m_file.removeAndClose(m_part);
    }
}

void CS3PartFile::open(const String& content) {
    m_part = makePartPath(m_target, content);
    int failure = m_file.openLeft(m_part);
    if (!failure) {
        readState();
        return;
    }
    if (failure == EWOULDBLOCK) {
        CError error("Another process is downloading to the file '" + zet::toDisplayPath(m_target) + "'.",
                     "system", failure);
        error.setKind(ErrorKind::Conflict);
        throw error;
    }
    failure = m_file.create(m_part, zet::FileAccess::Usual);
    // A file that cannot be taken over is left alone.
    for (int i = 1; failure == EEXIST && i < maxNames; ++i) {
        m_part = makePartPath(m_target, makeRandomText());
        failure = m_file.create(m_part, zet::FileAccess::Usual);
    }
    check("Cannot create", failure);
}

// A file with a damaged state begins again: its bytes are not needed.
void CS3PartFile::readState() {
    int64 length = 0;
    check("Cannot read", m_file.getSize(length));
    std::string text(stateSize, '\0');
    const int64 end = length - static_cast<int64>(stateSize);
    std::size_t count = 0;
    if (end < 0 || m_file.readAt(end, text.data(), stateSize, count) != 0 || count != stateSize) {
        startOver();
        return;
    }
    CS3PartState state = parseState(text);
    const int64 parts = state.size > 0 ? countParts(state.size, state.partSize) : 0;
    std::string marks(static_cast<std::size_t>(parts), '\0');
    if (parts == 0 || end != state.size + parts ||
        m_file.readAt(state.size, marks.data(), marks.size(), count) != 0 || count != marks.size()) {
        startOver();
        return;
    }
    for (const char mark : marks) {
        state.done.push_back(mark == isDone);
    }
    m_state = state;
    m_hasMarks = marks.find(isDone) != marks.npos;
}

void CS3PartFile::startOver() {
    m_state = CS3PartState();
    m_hasMarks = false;
    check("Cannot write", m_file.truncate(0));
}

void CS3PartFile::begin(const String& eTag, int64 size, int64 partSize) {
    const int64 parts = countParts(size, partSize);
    if (parts < 2 || parts > maxParts || !isPlain(eTag.toUTF8())) {
        return;  // it could not be continued
    }
    m_state = {.eTag = eTag, .size = size, .partSize = partSize};
    const std::string text = std::string(static_cast<std::size_t>(parts), isMissing) + makeState(m_state);
    write(size, text.data(), static_cast<int>(text.size()));
    m_state.done.assign(static_cast<std::size_t>(parts), false);
}

void CS3PartFile::write(int64 offset, const void* data, int length) {
    const zet::CMutexLock lock(m_mutex);
    check("Cannot write", m_file.writeAt(offset, data, static_cast<std::size_t>(length)));
}

void CS3PartFile::read(int64 offset, void* data, int length) {
    const zet::CMutexLock lock(m_mutex);
    std::size_t count = 0;
    check("Cannot read", m_file.readAt(offset, data, static_cast<std::size_t>(length), count));
    if (count != static_cast<std::size_t>(length)) {
        throw CError("The part of the file '" + zet::toDisplayPath(m_target) +
                         "' became shorter while it was written.",
                     "system");
    }
}

void CS3PartFile::mark(const std::vector<int64>& parts) {
    if (!isStored()) {
        return;
    }
    check("Cannot write", m_file.flush());
    for (const int64 part : parts) {
        write(m_state.size + part, &isDone, 1);
        m_state.done[static_cast<std::size_t>(part)] = true;
        m_hasMarks = true;
    }
}

void CS3PartFile::commit(int64 size) {
    check("Cannot write", m_file.truncate(size));
    check("Cannot write", m_file.flush());
    check("Cannot create", m_file.renameAndClose(m_part, m_target));
}

void CS3PartFile::check(const char* what, int systemError) const {
    if (systemError != 0) {
        throw CError(String(what) + " the file '" + zet::toDisplayPath(m_target) +
                         "': " + zet::describeSystemError(systemError),
                     "system", systemError);
    }
}

}  // namespace vexil
