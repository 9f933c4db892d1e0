#include "apps/vexil/session/VerboseLogFile.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/base/XMLText.h"
#include "vexil/Version.h"

namespace vexil::app {

CVerboseLogFile::CVerboseLogFile(const std::filesystem::path& path) {
    try {
        m_file = std::make_unique<CPartFile>(path, FileAccess::OwnerOnly);
        write(std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<VerboseLog program=\"vexil ") +
              getVersion() + "\">\n");
    } catch (const CError& error) {
        throw CInvalidArgError("CVerboseLogFile", "the verbose log '" + describe(path) +
                                                      "' cannot be written: " + error.getMessage());
    }
}

CVerboseLogFile::~CVerboseLogFile() = default;

void CVerboseLogFile::add(const zet::CXMLElement& transfer) noexcept {
    if (m_failure) {
        return;
    }
    try {
        write(toXML(transfer));
    } catch (...) {
        m_failure = zet::currentExceptionToError();
    }
}

void CVerboseLogFile::finish() {
    if (m_failure) {
        m_failure->throwClone();
    }
    write("</VerboseLog>\n");
    m_file->commit();
}

void CVerboseLogFile::write(std::string_view text) {
    m_file->getStream()->write(text.data(), static_cast<int>(text.size()));
}

}  // namespace vexil::app
