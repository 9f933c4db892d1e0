#pragma once

#include "apps/vexil/FileInStream.h"
#include "apps/vexil/Transfer.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

/// Stores a whole file as an object. The client does not try an upload again that failed after the server's "100
/// Continue", because it takes the 100 for the server's verdict. This class begins such an upload again, at most 5 times.
/// An upload is begun again, at most twice, if the ETag says that the server has stored something else.
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
