#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/FileInfoBase.h"
#include "zet/Time.h"

#include <string_view>

namespace vexil {

/// One entry of a machine-readable FTP listing (RFC 3659, 7): name, type, size and time of the last change. A value.
///
/// \code
/// const CFTPDirEntry entry("type=file;size=1024;modify=20200131235959; report.pdf");
/// \endcode
class VEXIL_API CFTPDirEntry : public virtual CBase {
public:
    /// No name, no time, type unknown, size 0.
    CFTPDirEntry() = default;
    /// Reads a fact line: "key=value;" once or more, a blank, the name. Keys and values in any case; of facts that
    /// repeat, the last counts. Facts other than "type", "size", "modify" and "unique" are ignored; a type other than "file" and
    /// "dir" (the directory itself, its parent, a link) leaves the type unknown; a size that is no number is 0.
    /// \throws CError "Invalid FTP dir entry: '...'" for a line without a blank and a fact without "="; as
    ///         parseTimeValue() does
    explicit CFTPDirEntry(const String& factLine);
    CFTPDirEntry(const CFTPDirEntry&) = default;
    CFTPDirEntry(CFTPDirEntry&&) = default;
    CFTPDirEntry& operator=(const CFTPDirEntry&) = default;
    CFTPDirEntry& operator=(CFTPDirEntry&&) = default;
    ~CFTPDirEntry() override;

    /// @{

    /// The name as the server sent it, with the blanks at its ends. In an answer to MLST often the whole path.
    String getName() const { return m_name; }
    void setName(const String& name) { m_name = name; }
    /// @}

    /// @{

    /// Time of the last change; not set when the server told none, or a date that is none.
    zet::CTime getModifiedTime() const { return m_modifiedTime; }
    void setModifiedTime(const zet::CTime& time) { m_modifiedTime = time; }
    /// @}

    /// @{

    /// File, directory, or unknown: the directory itself and its parent in a listing, links, devices.
    zet::IFileInfoBase::Type getType() const { return m_type; }
    void setType(zet::IFileInfoBase::Type type) { m_type = type; }
    /// @}

    /// @{

    /// Bytes; 0 when the server told none.
    int64 getSize() const { return m_size; }
    void setSize(int64 size) { m_size = size; }
    /// @}

    /// @{

    /// What tells this file or directory from all others of the server, whatever it is called (the fact "unique", RFC
    /// 3659, 7.5.2), with its upper and lower case. Two entries with the same one are the same; a link that the server
    /// shows as what it leads to has the one of that. Empty if the server did not tell it.
    String getUniqueID() const { return m_uniqueID; }
    void setUniqueID(const String& uniqueID) { m_uniqueID = uniqueID; }
    /// @}

    /// Reads a time value of RFC 3659 (2.3): "20200131235959", perhaps with a fraction ".25"; always UTC. Not set for a
    /// date outside the calendar. Digits that are none count as 0.
    /// \throws CError "Invalid FTP time value: '...'" for fewer than 14 characters and anything but "." behind them
    static zet::CTime parseTimeValue(const String& value);

private:
    void readFact(const String& factLine, std::wstring_view piece);

    String m_name;
    zet::CTime m_modifiedTime;
    zet::IFileInfoBase::Type m_type = zet::IFileInfoBase::TypeUnknown;
    int64 m_size = 0;
    String m_uniqueID;
};

}  // namespace vexil
