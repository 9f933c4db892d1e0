#include "apps/vexil/index/IndexWriter.h"

#include "apps/vexil/index/IndexFormat.h"
#include "sigil/Hex.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace vexil::app {

namespace format = index_format;
using Line = nlohmann::ordered_json;

namespace {

bool isUTF8(const std::string& bytes) {
    try {
        static_cast<void>(String::fromUTF8(bytes));
        return true;
    } catch (const CError&) {
        return false;
    }
}

void setText(Line& line, const char* name, const std::string& text) {
    if (isUTF8(text)) {
        line[name] = text;
    } else {
        line[name + std::string(format::bytesSuffix)] =
            sigil::hexEncode(text.data(), static_cast<int>(text.size())).toUTF8();
    }
}

void setIfGiven(Line& line, const char* name, const std::string& text) {
    if (!text.empty()) {
        setText(line, name, text);
    }
}

const char* getName(EntryKind kind) {
    switch (kind) {
    case EntryKind::Folder:
        return format::folder;
    case EntryKind::Link:
        return format::link;
    default:
        return format::file;
    }
}

// People read modes in octal.
std::string formatMode(int mode) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode));
    return text.data();
}

}  // namespace

CIndexWriter::CIndexWriter(zet::IOutStream& out) : m_out(out) {
    writeLine(Line{{format::versionField, format::version}}.dump());
}

void CIndexWriter::add(const CIndexEntry& entry) {
    Line line;
    setText(line, format::path, entry.path);
    line[format::kind] = getName(entry.kind);
    if (entry.kind == EntryKind::File) {
        line[format::size] = entry.size;
    }
    if (entry.time) {
        line[format::time] = entry.time->toText();
    }
    if (entry.mode) {
        line[format::mode] = formatMode(*entry.mode);
    }
    if (entry.owner) {
        line[format::user] = entry.owner->user;
        line[format::group] = entry.owner->group;
    }
    setIfGiven(line, format::target, entry.target);
    setIfGiven(line, format::eTag, entry.eTag);
    if (entry.isUnsettled) {
        line[format::isUnsettled] = true;
    }
    writeLine(line.dump());
    ++m_entries;
}

void CIndexWriter::finish() {
    writeLine(Line{{format::countField, m_entries}}.dump());
    m_out.finish();
}

void CIndexWriter::writeLine(std::string line) {
    if (line.size() > format::maxLineLength) {
        throw CError("Its path, or the target of the link, is too long for the index.");
    }
    line += '\n';
    m_out.write(line);
}

}  // namespace vexil::app
