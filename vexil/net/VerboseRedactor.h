#pragma once

#include "vexil/net/CredentialFinder.h"
#include "vexil/net/NetRequest.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexil {

/// Shows libcurl's messages about a transfer without the credentials in them.
///
/// Lines are read as they were sent, even if libcurl has divided them into several messages, because only a
/// whole line shows what is secret in it. Bodies are not scanned, with one exception: if a request head was
/// sent only partly, libcurl reports its rest as body data, and that is scanned.
///
/// The messages must outlive the object.
class CVerboseRedactor {
public:
    using Message = CNetRequest::CVerboseLogMessage;

    explicit CVerboseRedactor(const TList<Message>& messages);

    /// The bytes of a message, with credentials replaced.
    /// \param message  its number, from 0
    std::string getText(std::size_t message) const;

private:
    struct Record {
        std::string_view bytes;
        TextRanges secrets;
    };
    /// Where a part of a line comes from.
    struct Piece {
        std::size_t record;
        std::size_t position;
        TextRange inLine;
    };
    /// One direction and its current line.
    struct Direction {
        std::string line;
        std::vector<Piece> pieces;
        bool beganInLogin = false;
        bool isInSecretHeader = false;
        bool hasReply = false;  // a whole line of the other direction came in between
    };

    void readMessage(curl_infotype type);
    void readInfo(Record& record);
    void readLines(Direction& direction, bool onlyRequestHead = false);
    void appendToLine(Direction& direction, TextRange inRecord);
    void readPossibleCommand();
    void finishLine(Direction& direction);

    void storeSecrets(const std::vector<Piece>& pieces, const TextRanges& secrets);
    void storeSecret(const Piece& piece, TextRange secret);
    TextRanges readSentLine(std::string_view lineWithEnd);
    TextRanges readReceivedLine(std::string_view lineWithEnd);
    std::optional<TextRange> findCommandCredentials(std::string_view line);
    static TextRanges readHeaderLine(Direction& direction, std::string_view line);

    std::vector<Record> m_records;
    Direction m_sent;
    Direction m_received;
    bool m_isInLogin = false;        // from SMTP AUTH to the reply that ends the login
    bool m_isInRequestHead = false;  // from an HTTP request line to the empty line
};

}  // namespace vexil
