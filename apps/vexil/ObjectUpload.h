#pragma once

#include "apps/vexil/FileInStream.h"
#include "apps/vexil/Transfer.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

/// Stores a whole file as an object. Beside what the client tries again, an upload that broke behind the server's
/// "100 Continue" is begun anew, at most 5 times: the client takes the 100 for the server's verdict. So is, at most twice,
/// one that the server's ETag tells to have stored something else.
class CObjectUpload : public ITransfer {
public:
    /// The context must outlive it.
    CObjectUpload(CContext& context, const P<CFileInStream>& file, const String& bucket, const String& key,
                  const String& contentType);

    void prepare(CNetRequest& request) override;
    void checkAnswer(CNetRequest& request) override;
    bool canBeginAnew(CNetRequest& request, const CError& error) override;

private:
    bool isToBeginAnew(const CError& error);

    CContext& m_context;
    P<CFileInStream> m_file;
    String m_bucket;
    String m_key;
    String m_contentType;
    int m_furtherUploads = 0;
    bool m_hasWrongContent = false;
    int m_wrongContents = 0;
};

}  // namespace vexil::app
