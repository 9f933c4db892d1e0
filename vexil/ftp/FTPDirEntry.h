#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/FileInfoBase.h"
#include "zet/Time.h"

#include <string_view>

namespace vexil {

/// One entry of a machine-readable FTP listing (RFC 3659, 7): name, type, size and time of the last change. A
/// value.
///
/// \code
/// const CFTPDirEntry entry("type=file;size=1024;modify=20200131235959; report.pdf");
/// \endcode
class VEXIL_API CFTPDirEntry : public virtual CBase {
public:
    /// No name, no time, type unknown, size 0.
    CFTPDirEntry() = default;
    /// Reads a fact line: "key=value;" once or more, a space, the name. Upper and lower case of keys and
    /// values do not matter; the last of repeated facts counts. Facts other than "type", "size", "modify" and
    /// "unique" are ignored. A type other than "file" and "dir" (the directory itself, its parent, a link)
    /// leaves the type unknown. A size that is not a number is 0.
    /// \throws CError "Invalid FTP dir entry: '...'" for a line without a space and for a fact without "=";
    ///         the error of parseTimeValue()
    explicit CFTPDirEntry(const String& factLine);
    CFTPDirEntry(const CFTPDirEntry&) = default;
    CFTPDirEntry(CFTPDirEntry&&) = default;
    CFTPDirEntry& operator=(const CFTPDirEntry&) = default;
    CFTPDirEntry& operator=(CFTPDirEntry&&) = default;
    ~CFTPDirEntry() override;

    /// @{

    /// The name as the server sent it, including spaces at its ends. In a reply to MLST often the whole path.
    String getName() const { return m_name; }
    void setName(const String& name) { m_name = name; }
    /// @}

    /// @{

    /// Time of the last change; not set if the server sent none or an invalid date.
    zet::CTime getModifiedTime() const { return m_modifiedTime; }
    void setModifiedTime(const zet::CTime& time) { m_modifiedTime = time; }
    /// @}

    /// @{

    /// File, directory, or unknown: the directory itself and its parent in a listing, links, devices.
    zet::IFileInfoBase::Type getType() const { return m_type; }
    void setType(zet::IFileInfoBase::Type type) { m_type = type; }
    /// @}

    /// @{

    /// Size in bytes; 0 if the server sent none.
    int64 getSize() const { return m_size; }
    void setSize(int64 size) { m_size = size; }
    /// @}

    /// @{

    /// Identifies a file or directory on the server independently of its name (the fact "unique", RFC 3659,
    /// 7.5.2); upper and lower case matter. Two entries with the same ID are the same file or directory. A
    /// link that the server shows as its target has the target's ID. Empty if the server did not send it.
    String getUniqueID() const { return m_uniqueID; }
    void setUniqueID(const String& uniqueID) { m_uniqueID = uniqueID; }
    /// @}

    /// Reads a time value of RFC 3659 (2.3): "20200131235959", optionally with a fraction ".25"; always UTC.
    /// The result is not set for a date outside the calendar. Characters that are not digits count as 0.
    /// \throws CError "Invalid FTP time value: '...'" for fewer than 14 characters, or if they are not
    ///         followed by "." or the end
    [[nodiscard]] static zet::CTime parseTimeValue(const String& value);

private:
    void readFact(const String& factLine, std::wstring_view piece);

    String m_name;
    zet::CTime m_modifiedTime;
    zet::IFileInfoBase::Type m_type = zet::IFileInfoBase::TypeUnknown;
    int64 m_size = 0;
    String m_uniqueID;
};

}  // namespace vexil
