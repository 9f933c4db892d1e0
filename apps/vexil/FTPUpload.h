#pragma once

#include "apps/vexil/FileInStream.h"
#include "apps/vexil/RemoteParts.h"
#include "apps/vexil/Transfer.h"

namespace vexil::app {

class CContext;

/// Stores a file on an FTP server so that a broken upload never takes the place of a good file: it is stored under
/// another name in the same directory, and moved when the server tells the right size (SIZE).
class CFTPUpload : public ITransfer {
public:
    /// Context and parts must outlive it.
    /// \param part               its other name, a path; among `parts` as long as it may be there
    /// \param createMissingDirs  also make the directories that the path names
    CFTPUpload(CContext& context, CRemoteParts& parts, const P<CFileInStream>& file, const String& path,
               const String& part, bool createMissingDirs);

    void prepare(CNetRequest& request) override;
    /// \throws CError when the server has stored other than was sent
    void checkAnswer(CNetRequest& request) override;
    bool isComplete() const override { return m_step == Step::Done; }
    bool canBeginAnew(CNetRequest& request, const CError& error) override;

private:
    enum class Step { Store, Move, Replace, Done };

    void prepareMove(CNetRequest& request);
    static bool canReplace(const CNetRequest& request, const CError& error);
    void checkStored(const CNetRequest& request);
    void checkMoved(const CNetRequest& request) const;

    CContext& m_context;
    CRemoteParts& m_parts;
    P<CFileInStream> m_file;
    String m_path;
    String m_part;
    bool m_createMissingDirs;
    Step m_step = Step::Store;
    bool m_isUnderWay = false;
    bool m_isCut = false;
    int m_furtherUploads = 0;
    P<CError> m_moveError;  // of Step::Move, in Step::Replace
};

}  // namespace vexil::app
