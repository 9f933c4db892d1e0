#pragma once

#include "apps/vexil/files/FileInStream.h"
#include "apps/vexil/ftp/RemoteParts.h"
#include "apps/vexil/transfer/Transfer.h"
#include "vexil/net/NetReply.h"

#include <initializer_list>

namespace vexil::app {

class CContext;

/// Stores a file on an FTP server so that a broken upload never takes the place of a good file: it is stored under
/// another name in the same directory, a random one (CPartFile), and moved when the server tells the right size (SIZE).
///
/// A move that fails is tried again as a move, as long as the server has the whole file under the other name. A
/// directory is never replaced.
class CFTPUpload : public ITransfer {
public:
    /// Context and parts must outlive it.
    /// \param createMissingDirs  also make the directories that the path names
    CFTPUpload(CContext& context, CRemoteParts& parts, const P<CFileInStream>& file, const String& path,
               bool createMissingDirs);

    void prepare(CNetRequest& request) override;
    /// \throws CError when the server has stored other than was sent, and when a directory has the file's name
    void checkAnswer(CNetRequest& request) override;
    bool isComplete() const override { return m_step == Step::Done; }
    bool canBeginAnew(CNetRequest& request, const CError& error) override;
    bool canFallBack(CNetRequest& request, const CError& error) override;

private:
    enum class Step {
        Look,     // what has the file's name
        Enter,    // whether that is a directory, where the server does not know MLST
        Store,    // under the other name
        Probe,    // whether the server has room for a small file, after it has broken a transfer off
        Check,    // what became of a step that has failed, or of which nothing is known
        Move,     // to the file's name
        Verify,   // whether the file has its name, where MLST does not tell
        Replace,  // the same where the server does not rename onto a file: that file is moved away first
        Done
    };

    void considerFailure(CNetRequest& request);
    bool hasStored(const CNetRequest& request) const;
    void notePart(const CNetRequest& request);
    void prepareCommands(CNetRequest& request, std::initializer_list<String> commands);
    void prepareStore(CNetRequest& request);
    void prepareProbe(CNetRequest& request);
    void prepareMove(CNetRequest& request);
    Step checkLook(CNetRequest& request) const;
    Step checkEnter(CNetRequest& request) const;
    Step checkStored(CNetRequest& request);
    Step checkProbed(const CNetRequest& request);
    Step checkVerified(CNetRequest& request) const;
    Step decideFurtherStep(CNetRequest& request);
    Step decideMove(const CNetReply& info) const;
    Step checkMoved(CNetRequest& request);
    void keepNoReplaced(bool isDeleted);
    void checkName(const CNetReply& info) const;
    void checkIsNoDirectory(const CNetReply& info) const;
    [[noreturn]] void throwIsDirectory() const;
    void throwIfNoRoom(const CNetRequest& request) const;
    void throwIfRenamingIsUnknown(const CNetRequest& request, const CError& error) const;

    CContext& m_context;
    CRemoteParts& m_parts;
    P<CFileInStream> m_file;
    String m_path;
    String m_part;
    String m_probe;    // a small file that shows whether there is room
    String m_oldFile;  // what the file that is replaced is called meanwhile
    bool m_createMissingDirs;
    Step m_step = Step::Look;
    bool m_isUnderWay = false;
    bool m_hasBegun = false;  // the server may have made the part
    bool m_isStored = false;  // the server has confirmed Step::Store
    bool m_isCut = false;     // but has less, or more, than was sent
    bool m_isMoveTried = false;
    bool m_hasReplaced = false;  // Step::Replace was begun
    P<CError> m_sendError;       // of Step::Store, when no further try is left
    P<CError> m_moveError;       // of Step::Move, where a file of this name may be the reason
};

}  // namespace vexil::app
