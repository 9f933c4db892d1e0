#include "vexil/ftp/FTPGetInfoResult.h"

namespace vexil {

namespace {

P<CFTPDirEntry> parseInfoLine(const String& line) {
    String facts = line;
    facts.trimLeft();
    if (facts.endsWith("\r\n")) {
        facts = facts.substr(0, facts.length() - 2);
    }
    return new CFTPDirEntry(facts);
}

}  // namespace

CFTPGetInfoResult::CFTPGetInfoResult(const CNetStringList& replyLines) {
    String response;
    bool isInfoLine = false;
    for (const P<CNetStringList::CIterator> lines = replyLines.createIterator(); lines->next();) {
        const String& line = lines->getEntry();
        response += line;
        if (isInfoLine) {
            m_info = parseInfoLine(line);
            isInfoLine = false;
        } else {
            isInfoLine = line.startsWith("250-");
        }
    }
    if (!m_info) {
        CProps props;
        props.add("response", response);
        throw CError("Invalid response to FTP MLST request (no info line found).", "", -1, props);
    }
}

CFTPGetInfoResult::~CFTPGetInfoResult() = default;

}  // namespace vexil
