#pragma once

#include "zet/Base.h"
#include "zet/Containers.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Props.h"
#include "zet/String.h"

namespace zet {

/// Element of a tree: name, attributes in order, text, child elements in order. The texts may contain every
/// character, even those that are invalid in XML. One thread at a time. Copies share their children.
class ZET_API CXMLElement : public virtual CBase {
public:
    /// An element without text and children.
    explicit CXMLElement(const String& name, const CProps& attributes = CProps());
    ~CXMLElement() override;

    /// Name of the element.
    [[nodiscard]] const String& getName() const noexcept { return m_name; }
    /// Attributes in the order in which they were added.
    [[nodiscard]] const CProps& getAttributes() const noexcept { return m_attributes; }
    /// Text of the element itself; "" for none.
    [[nodiscard]] const String& getText() const noexcept { return m_text; }
    /// Child elements in order; never null.
    [[nodiscard]] const TArray<P<CXMLElement>>& getChildren() const noexcept { return m_children; }

    /// Adds an attribute, or replaces the value of the one with this name.
    void addAttribute(const String& name, const String& value) { m_attributes.add(name, value); }
    /// Replaces the text.
    void setText(const String& text) { m_text = text; }
    /// Appends a child and keeps a reference to it. The child must not be null, this element or an element
    /// above it.
    void addChild(CXMLElement* child) { m_children.push_back(child); }

    /// The element with everything below it as XML 1.0, without a declaration and without white space of its
    /// own. A reader gets the same names, values and texts back, with all spaces and line ends.
    /// \throws CError that names the element, for a character that XML cannot contain, such as most control
    ///         characters, and for a name that is no XML name
    [[nodiscard]] String toText() const;

private:
    String m_name;
    CProps m_attributes;
    String m_text;
    TArray<P<CXMLElement>> m_children;
};

}  // namespace zet
