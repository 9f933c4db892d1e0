#pragma once

#include "vexil/net/CredentialFinder.h"
#include "vexil/net/NetRequest.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexil {

/// Shows what libcurl reported of a transfer without the credentials in it.
///
/// Lines are read as they went over the wire, however libcurl has divided them into messages, because only a
/// whole line tells what is secret in it. Bodies are not looked into, but for what of a request head libcurl
/// reports as data after it could send the head only in part.
///
/// The messages must outlive the object.
class CVerboseRedactor {
public:
    using Message = CNetRequest::CVerboseLogMessage;

    explicit CVerboseRedactor(const TList<Message>& messages);

    /// The bytes of the message of that number, credentials replaced.
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
    /// One direction and its line in the making.
    struct Direction {
        std::string line;
        std::vector<Piece> pieces;
        bool beganInLogin = false;
        bool isInSecretHeader = false;
        bool isAnswered = false;  // a whole line of the other direction has come in the middle
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
    bool m_isInLogin = false;        // from SMTP AUTH to the server's verdict
    bool m_isInRequestHead = false;  // from an HTTP request line to the blank line
};

}  // namespace vexil
