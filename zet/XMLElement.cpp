#include "zet/XMLElement.h"

namespace zet {

CXMLElement::CXMLElement(const String& name, const CProps& attributes)
    : m_name(name), m_attributes(attributes) {}

CXMLElement::~CXMLElement() = default;

}  // namespace zet
