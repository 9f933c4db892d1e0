#pragma once

#include "vexil/BaseTypes.h"

#include <curl/curl.h>

#include <list>
#include <string>

namespace vexil {

/// The body given as CURLOPT_POSTFIELDS, and how many of its bytes libcurl may be told of.
///
/// libcurl reads as many bytes from the address as the size says that was set last, or up to a NUL for -1, and its own
/// copy (CURLOPT_COPYPOSTFIELDS) has no NUL. So a size that was meant for another body makes it send what follows in
/// memory. In a running transfer it combines the size of the old body with the address of a new one: the address is
/// therefore handed over before a transfer only. One thread at a time.
class CPostBody : public virtual CBase {
public:
    /// Keeps a text as the body. The one before stays in memory until onHandedOver().
    /// \param isSizeForSource  the size of the data to be sent belongs to a source, not to this text
    void setText(std::string text, bool isSizeForSource);
    /// Makes the caller's memory the body; null for no body.
    void setMemory(const void* memory) noexcept;
    /// A source is the body from now on.
    void setSource() noexcept;

    /// Whether the body is a text that this object keeps.
    bool isText() const noexcept { return m_kind == Kind::Text; }
    /// The address for libcurl, null for no body.
    const void* getData() const noexcept { return m_data; }
    /// Whether a source has replaced the body.
    bool isReplaced() const noexcept { return m_isReplaced; }
    /// Whether libcurl does not know yet.
    bool isChanged() const noexcept { return m_isChanged; }
    /// libcurl has the address, and no transfer runs: texts that were replaced are freed.
    void onHandedOver();

    /// What the caller sets as CURLOPT_POSTFIELDSIZE: also the length of memory that is no text.
    void setOwnSize(int64 size) noexcept;
    int64 getOwnSize() const noexcept { return m_ownSize; }
    /// The size that is wanted from now on, -1 for the whole body.
    void setWantedSize(int64 size) noexcept { m_wantedSize = size; }
    /// The same for the size of the data to be sent when the method becomes POST: it may be meant for a source.
    void setWantedDataSize(int64 size) noexcept { m_wantedSize = m_isSizeForSource ? -1 : size; }
    /// The size of the data to be sent has been set again.
    void onDataSizeSet() noexcept { m_isSizeForSource = false; }
    /// The size for libcurl: the wanted one, but never more than the body has. -1 when the length is not known.
    int64 getSize() const noexcept;

    /// Learns from an option which method libcurl will use.
    void onOptionSet(CURLoption option, bool isOn) noexcept;
    /// Whether libcurl will send a POST.
    bool isPost() const noexcept { return m_isPost; }

private:
    enum class Kind { None, Text, Memory };

    void setBody(Kind kind, const void* data) noexcept;
    int64 getLength() const noexcept;

    Kind m_kind = Kind::None;
    const void* m_data = nullptr;
    std::list<std::string> m_texts;  // the last one counts
    int64 m_wantedSize = -1;
    int64 m_ownSize = -1;
    bool m_isReplaced = false;
    bool m_isChanged = false;
    bool m_isSizeForSource = false;
    bool m_isPost = false;
};

}  // namespace vexil
