#pragma once

#include "vexil/BaseTypes.h"

#include <curl/curl.h>

#include <list>
#include <string>

namespace vexil {

/// The body given as CURLOPT_POSTFIELDS, and the size of it that is safe for libcurl.
///
/// libcurl reads from the address the number of bytes that was set last, or up to a NUL for -1; its own copy
/// (CURLOPT_COPYPOSTFIELDS) has no NUL. A size that belongs to another body makes it send the memory after
/// this one. In a running transfer it combines the size of the old body with the address of the new one: the
/// address is therefore handed over only before a transfer. One thread at a time.
class CPostBody : public virtual CBase {
public:
    /// Keeps a text as the body. The previous one stays in memory until onHandedOver().
    /// \param isSizeForSource  whether the size of the data to send belongs to a source, not to this text
    void setText(std::string text, bool isSizeForSource);
    /// Makes the caller's memory the body; null for no body.
    void setMemory(const void* memory) noexcept;
    /// A source replaces the body.
    void setSource() noexcept;

    /// Whether the body is a text that this object keeps.
    bool isText() const noexcept { return m_kind == Kind::Text; }
    /// The address for libcurl, null for no body.
    const void* getData() const noexcept { return m_data; }
    /// Whether a source has replaced the body.
    bool isReplaced() const noexcept { return m_isReplaced; }
    /// Whether libcurl still has the old body.
    bool isChanged() const noexcept { return m_isChanged; }
    /// Call it when libcurl has the address and no transfer runs: frees the texts that were replaced.
    void onHandedOver();

    /// The caller's CURLOPT_POSTFIELDSIZE: for memory that is not a text also its length.
    void setOwnSize(int64 size) noexcept;
    int64 getOwnSize() const noexcept { return m_ownSize; }
    /// The size to send, -1 for the whole body.
    void setWantedSize(int64 size) noexcept { m_wantedSize = size; }
    /// The same for the size of the data to send when the method becomes POST, which may belong to a source.
    void setWantedDataSize(int64 size) noexcept { m_wantedSize = m_isSizeForSource ? -1 : size; }
    /// The size of the data to send has been set again.
    void onDataSizeSet() noexcept { m_isSizeForSource = false; }
    /// The size for libcurl: the wanted one, but never more than the body has. -1 if the length is unknown.
    int64 getSize() const noexcept;

    /// Notes from an option which method libcurl will use.
    void onOptionSet(CURLoption option, bool isOn) noexcept;
    /// Whether libcurl will send a POST.
    bool isPost() const noexcept { return m_isPost; }

private:
    enum class Kind { None, Text, Memory };

    void setBody(Kind kind, const void* data) noexcept;
    int64 getLength() const noexcept;

    Kind m_kind = Kind::None;
    const void* m_data = nullptr;
    std::list<std::string> m_texts;  // the last one is the body
    int64 m_wantedSize = -1;
    int64 m_ownSize = -1;
    bool m_isReplaced = false;
    bool m_isChanged = false;
    bool m_isSizeForSource = false;
    bool m_isPost = false;
};

}  // namespace vexil
