#pragma once

#include "apps/vexil/base/FileTime.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/ftp/RemoteParts.h"
#include "apps/vexil/transfer/Upload.h"
#include "vexil/net/NetReply.h"

#include <optional>
#include <vector>

namespace vexil::app {

class CFTPAccess;

/// Stores a file on an FTP server so that a failed upload never replaces a good file: it is stored under a
/// random name in the same directory (CPartFile), and moved when the server reports the right size (SIZE).
///
/// A failed move is tried again as a move, as long as the server has the whole file under the other name. A
/// directory is never replaced.
class CFTPUpload : public IUpload {
public:
    /// Access and parts must outlive it.
    /// \param createMissingDirs  also make missing directories of the path
    /// \param time  given to the file on the server (MFMT), if the server can; nullopt for none
    CFTPUpload(CFTPAccess& access, CRemoteParts& parts, const P<CFileInStream>& file, const String& path,
               bool createMissingDirs, const std::optional<CFileTime>& time = std::nullopt);

    void prepare(CNetRequest& request) override;
    /// \throws CError if the server has stored something else, and if a directory has the name of the file
    void checkResponse(CNetRequest& request) override;
    bool isComplete() const override { return m_step == Step::Done; }
    bool canBeginAgain(CNetRequest& request, const CError& error) override;
    bool canFallBack(CNetRequest& request, const CError& error) override;
    /// The time that the server was told, otherwise the one that it has in MLST.
    String getMark() const override { return m_mark; }

private:
    enum class Step {
        Look,     // what has the name of the file
        Enter,    // whether that is a directory, if the server does not know MLST
        Store,    // the file, under the other name
        Probe,    // whether the server has room for a small file, after it has interrupted a transfer
        Check,    // the result of a step that has failed or is unknown
        Move,     // to the name of the file
        Verify,   // whether the file has its name, if MLST does not show it
        Replace,  // the same if the server does not rename onto a file: that file is moved away first
        Done
    };

    void considerFailure(CNetRequest& request);
    bool hasStored(const CNetRequest& request) const;
    void notePart(const CNetRequest& request);
    void prepareCommands(CNetRequest& request, const std::vector<String>& commands);
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
    void noteTime(const CNetRequest& request);
    void keepNoReplaced(bool isDeleted);
    void checkName(const CNetReply& info) const;
    void checkIsNoDirectory(const CNetReply& info) const;
    [[noreturn]] void throwIsDirectory() const;
    void throwIfNoRoom(const CNetRequest& request) const;
    void throwIfRenamingIsUnknown(const CNetRequest& request, const CError& error) const;

    CFTPAccess& m_access;
    CRemoteParts& m_parts;
    P<CFileInStream> m_file;
    String m_path;
    String m_part;
    String m_probe;    // a small file that shows whether there is room
    String m_oldFile;  // the temporary name of the replaced file
    bool m_createMissingDirs;
    String m_time;  // "" if the server is to give it its own
    String m_mark;
    Step m_step = Step::Look;
    bool m_isUnderWay = false;
    bool m_hasBegun = false;  // the server may have made the part
    bool m_isStored = false;  // the server has confirmed Step::Store
    bool m_isCut = false;     // but with less, or more, than was sent
    bool m_isMoveTried = false;
    bool m_hasReplaced = false;  // Step::Replace has begun
    bool m_setsTime = false;     // in the current move
    P<CError> m_sendError;       // of Step::Store, if no more tries are left
    P<CError> m_moveError;       // of Step::Move, if a file of this name may be the reason
};

}  // namespace vexil::app
