#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/StandardStreams.h"
#include "apps/vexil/files/LeftParts.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/http/Commands.h"
#include "apps/vexil/http/HTTPTransfer.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "vexil/net/NetRequest.h"
#include "zet/OutStream.h"

#include <string>

namespace vexil::app {

namespace {

/// Writes the body of a successful response to one stream and every other body to another sink, so that an
/// error page becomes part of the error and not of the file.
class CHTTPBodySink : public virtual CBase, public CNetRequest::IDataSink {
public:
    CHTTPBodySink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink);
    ~CHTTPBodySink() override;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override;

private:
    P<zet::IOutStream> m_stream;
    P<CNetRequest::IDataSink> m_errorSink;
};

CHTTPBodySink::CHTTPBodySink(zet::IOutStream* stream, CNetRequest::IDataSink* errorSink)
    : m_stream(stream), m_errorSink(errorSink) {}

CHTTPBodySink::~CHTTPBodySink() = default;

void CHTTPBodySink::write(const void* data, int length, int httpStatus,
                          const TMap<String, String>& responseHeaders) {
    // Other protocols than HTTP have the status -1.
    if (httpStatus == -1 || (httpStatus >= 200 && httpStatus <= 299)) {
        m_stream->write(data, length);
    } else {
        m_errorSink->write(data, length, httpStatus, responseHeaders);
    }
}

void download(CSession& session, const std::string& url, zet::IOutStream& out) {
    const int64 start = out.getPosition();
    const auto configure = [&out](CNetRequest& request) {
        request.setReceiveDataSink(new CHTTPBodySink(&out, request.getDefaultReceiveSink()));
    };
    const auto check = [&out, start](CNetRequest& request) {
        // For other protocols the headers would be those of a redirect.
        if (request.getResponseCodeDomain() == "http") {
            checkResponseLength(request, out.getPosition() - start);
        }
    };
    CHTTPTransfer transfer(session, url, configure, check);
    runHTTPTransfer(session, transfer, true);
}

class CHTTPGetCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_url;
    std::string m_file;
};

void CHTTPGetCommand::define(CCommandSyntax& syntax) {
    syntax.command("get", "Download a URL")
        .argument("URL", m_url, "The URL to download")
        .optionalArgument("FILE", m_file,
                          "The file to write; an existing file is replaced (default: standard output)")
        .footer(R"(Examples:
  vexil http get https://example.com/list.txt list.txt
  vexil http get https://example.com/list.txt | less

The file gets its name when the download is complete. A failed download leaves no file.)");
}

ExitCode CHTTPGetCommand::run(CSession& session) {
    // First, because wrong certificates must not cost a part of a file.
    session.getSetup();
    if (m_file.empty() || m_file == "-") {
        const P<zet::IOutStream> out = new CStandardOutStream(session.getConsole());
        download(session, m_url, *out);
    } else {
        CLeftParts::clearOf(session.getConsole(), toPath(m_file));
        CPartFile file(toPath(m_file));
        download(session, m_url, *file.getStream());
        file.commit();
    }
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeHTTPGet() {
    return std::make_unique<CHTTPGetCommand>();
}

}  // namespace vexil::app
