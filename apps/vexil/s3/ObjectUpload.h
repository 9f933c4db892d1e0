#pragma once

#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/transfer/Upload.h"
#include "vexil/BaseTypes.h"
#include "vexil/s3/S3PutOptions.h"
#include "vexil/s3/S3SigningDetour.h"

namespace vexil::app {

class CS3Access;

/// Stores a whole file as an object. If the ETag shows that the server has stored something else, the upload
/// begins again, at most twice, unless the options have a condition: it would find the wrong object.
class CObjectUpload : public IUpload {
public:
    /// The access must outlive it.
    CObjectUpload(CS3Access& access, const P<CFileInStream>& file, const String& bucket, const String& key,
                  const CS3PutOptions& options);

    void prepare(CNetRequest& request) override;
    void checkResponse(CNetRequest& request) override;
    bool canBeginAgain(CNetRequest& request, const CError& error) override;
    /// Follows the service to another URL, region or clock.
    bool canFallBack(CNetRequest& request, const CError& error) override;
    /// The ETag.
    String getMark() const override { return m_mark; }

private:
    void checkContent(CNetRequest& request) const;

    CS3Access& m_access;
    P<CFileInStream> m_file;
    String m_bucket;
    String m_key;
    CS3PutOptions m_options;
    bool m_hasWrongContent = false;
    int m_wrongContents = 0;
    String m_mark;
    CS3SigningDetour m_detour;
};

}  // namespace vexil::app
