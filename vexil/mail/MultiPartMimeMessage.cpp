#include "vexil/mail/MultiPartMimeMessage.h"

#include "zet/MTRand.h"

#include <charconv>
#include <string>

namespace vexil {

namespace {

constexpr std::size_t minBoundaryLength = 10;

std::string toHex(zet::uint64 number) {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof(digits), number, 16).ptr;
    return {digits, end};
}

String makeBoundary() {
    const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
    std::string boundary;
    while (boundary.size() < minBoundaryLength) {
        boundary += toHex(zet::CMTRand::getGlobal()->rand64());
    }
    return String::fromLatin1(boundary);
}

void write(zet::IOutStream& out, const String& text) {
    const std::string bytes = text.toLatin1();
    out.write(bytes.data(), static_cast<int>(bytes.size()));
}

}  // namespace

CMultiPartMimeMessage::CMultiPartMimeMessage(const String& subtype)
    : CMimeMessage(""), m_boundary(makeBoundary()) {
    getHeaders()["Content-Type"] = "multipart/" + subtype + "; boundary=" + m_boundary;
}

CMultiPartMimeMessage::~CMultiPartMimeMessage() = default;

void CMultiPartMimeMessage::addPart(const CMimeMessage* part) {
    if (part) {
        m_parts.push_back(part);
    }
}

void CMultiPartMimeMessage::setBody(const TBuffer<unsigned char>*, const String&) {
    throw CError("CMultiPartMimeMessage::setBody should not be used.");
}

void CMultiPartMimeMessage::storeBody(zet::IOutStream& out) const {
    String delimiter = "--" + m_boundary + "\r\n";
    for (const PC<CMimeMessage>& part : m_parts) {
        write(out, delimiter);
        part->store(out);
        delimiter = "\r\n--" + m_boundary + "\r\n";
    }
    write(out, "\r\n--" + m_boundary + "--\r\n");
}

}  // namespace vexil
