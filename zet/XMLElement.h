#pragma once

#include "zet/Base.h"
#include "zet/Containers.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Props.h"
#include "zet/String.h"

namespace zet {

/// Element of a tree: name, attributes in order, text, child elements in order. The texts may hold any
/// character, also those that an XML file cannot.
class ZET_API CXMLElement : public virtual CBase {
public:
    explicit CXMLElement(const String& name, const CProps& attributes = CProps());
    ~CXMLElement() override;

    const String& getName() const noexcept { return m_name; }
    const CProps& getAttributes() const noexcept { return m_attributes; }
    const String& getText() const noexcept { return m_text; }
    const TArray<P<CXMLElement>>& getChildren() const noexcept { return m_children; }

    void addAttribute(const String& name, const String& value) { m_attributes.add(name, value); }
    void setText(const String& text) { m_text = text; }
    void addChild(CXMLElement* child) { m_children.emplace_back(child); }

private:
    String m_name;
    CProps m_attributes;
    String m_text;
    TArray<P<CXMLElement>> m_children;
};

}  // namespace zet
