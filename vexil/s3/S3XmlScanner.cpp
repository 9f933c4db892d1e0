#include "vexil/s3/S3XmlScanner.h"

#include "vexil/s3/S3XmlReduction.h"
#include "zet/Mutex.h"

#include <wx/strconv.h>
#include <wx/string.h>

#include <cstring>
#include <exception>
#include <expat.h>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace vexil {

namespace {

constexpr char invalid[] = "invalid XML.";
constexpr char tooLongText[] = "a text is longer than 65536 bytes.";
static_assert(maxXmlTextBytes == 65536);

// The responses of the service have four levels.
constexpr int maxDepth = 1000;
// A page of a listing has a thousand objects of about ten elements. Each takes a few hundred bytes of memory.
constexpr int maxElements = 1'000'000;
// Limit of bytes times pieces, summed over all texts: about half a second of work.
constexpr unsigned long long maxWork = 1ULL << 30;
// wxXmlDocument reads this many bytes at once; each read also ends a piece of text.
constexpr std::size_t pieceBytes = 1024;

struct ParserFree {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};

using Parser = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserFree>;

/// The handlers that expat calls. They must not throw, because expat is C.
class CScanner {
public:
    explicit CScanner(IS3XmlHandler& handler) : m_handler(handler), m_parser(XML_ParserCreate(nullptr)) {
        if (!m_parser) {
            throw std::bad_alloc();
        }
        XML_SetUserData(m_parser.get(), this);
        XML_SetElementHandler(m_parser.get(), onStart, onEnd);
        XML_SetCharacterDataHandler(m_parser.get(), onText);
        XML_SetCdataSectionHandler(m_parser.get(), onCDATAStart, onCDATAEnd);
        XML_SetCommentHandler(m_parser.get(), onComment);
        XML_SetProcessingInstructionHandler(m_parser.get(), onInstruction);
        // As in wxXmlDocument: with a default handler, expat drops the document's own entities and does not
        // expand them.
        XML_SetDefaultHandler(m_parser.get(), [](void*, const XML_Char*, int) {});
        XML_SetUnknownEncodingHandler(m_parser.get(), onUnknownEncoding, nullptr);
    }

    bool scan(std::string_view document, const char*& error) {
        if (document.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            error = invalid;
            return false;
        }
        // All at once: with several pieces, expat scans the beginning of a long name or comment again for
        // each piece.
        const auto status = XML_Parse(m_parser.get(), document.data(), static_cast<int>(document.size()), 1);
        if (m_exception) {
            std::rethrow_exception(m_exception);
        }
        if (status != XML_STATUS_OK) {
            if (XML_GetErrorCode(m_parser.get()) == XML_ERROR_NO_MEMORY) {
                throw std::bad_alloc();
            }
            error = m_error ? m_error : invalid;
            return false;
        }
        return true;
    }

private:
    template <class Work>
    static void run(void* self, Work work) noexcept {
        auto& scanner = *static_cast<CScanner*>(self);
        // expat may still call after it was stopped.
        if (scanner.m_error || scanner.m_exception) {
            return;
        }
        try {
            work(scanner);
        } catch (...) {
            scanner.m_exception = std::current_exception();
            XML_StopParser(scanner.m_parser.get(), XML_FALSE);
        }
    }

    static void onStart(void* self, const XML_Char* name, const XML_Char**) noexcept {
        run(self, [name](CScanner& scanner) { scanner.beginElement(name); });
    }
    static void onEnd(void* self, const XML_Char* name) noexcept {
        run(self, [name](CScanner& scanner) { scanner.endElement(name); });
    }
    static void onText(void* self, const XML_Char* text, int length) noexcept {
        run(self, [text, length](CScanner& scanner) {
            scanner.addPiece({text, static_cast<std::size_t>(length)});
        });
    }
    static void onCDATAStart(void* self) noexcept {
        run(self, [](CScanner& scanner) { scanner.beginCDATA(); });
    }
    static void onCDATAEnd(void* self) noexcept {
        run(self, [](CScanner& scanner) { scanner.endCDATA(); });
    }
    static void onComment(void* self, const XML_Char*) noexcept {
        run(self, [](CScanner& scanner) { scanner.divideText(); });
    }
    static void onInstruction(void* self, const XML_Char*, const XML_Char*) noexcept {
        run(self, [](CScanner& scanner) { scanner.divideText(); });
    }

    /// Supports the single-byte encodings that wxWidgets knows, as wxXmlDocument does.
    static int onUnknownEncoding(void*, const XML_Char* name, XML_Encoding* info) noexcept {
        try {
            // wxWidgets initialises static objects in the first conversion of each kind.
            static zet::CMutex mutex;
            const zet::CMutexLock lock(mutex);
            const wxCSConv converter(wxString::FromUTF8(name));
            char byte[2] = {};
            info->map[0] = 0;
            for (int i = 1; i < 256; ++i) {
                wchar_t character[10];
                byte[0] = static_cast<char>(i);
                const bool isKnown = converter.ToWChar(character, 10, byte, 2) != wxCONV_FAILED;
                info->map[i] = isKnown ? static_cast<int>(character[0]) : -1;
            }
            info->data = nullptr;
            info->convert = nullptr;
            info->release = nullptr;
            return XML_STATUS_OK;
        } catch (...) {
            return XML_STATUS_ERROR;
        }
    }

    void fail(const char* error) noexcept {
        m_error = error;
        XML_StopParser(m_parser.get(), XML_FALSE);
    }

    void beginElement(const char* name) {
        endText();
        m_textBytes = 0;
        if (++m_depth > maxDepth || ++m_elements > maxElements || std::strlen(name) > maxXmlTextBytes) {
            fail(invalid);
            return;
        }
        m_handler.beginElement(name);
    }

    void endElement(const char* name) {
        endText();
        m_textBytes = 0;
        --m_depth;
        m_handler.endElement(name);
    }

    void addPiece(std::string_view piece) {
        m_textBytes += piece.size();
        m_runBytes += piece.size();
        m_runPieces += 1 + piece.size() / pieceBytes;
        if (m_textBytes > maxXmlTextBytes) {
            fail(tooLongText);
            return;
        }
        m_handler.addText(piece);
    }

    void beginCDATA() {
        endText();
        m_handler.beginCDATA();
    }

    void endCDATA() {
        endText();
        m_handler.endCDATA();
    }

    void divideText() {
        endText();
        if (m_depth > 0) {
            m_handler.divideText();
        }
    }

    void endText() noexcept {
        m_work += m_runBytes * m_runPieces;
        m_runBytes = 0;
        m_runPieces = 0;
        if (m_work > maxWork) {
            fail(invalid);
        }
    }

    IS3XmlHandler& m_handler;
    const Parser m_parser;
    const char* m_error = nullptr;
    std::exception_ptr m_exception;
    int m_depth = 0;
    int m_elements = 0;
    std::size_t m_textBytes = 0;  // since the last tag
    unsigned long long m_runBytes = 0;
    unsigned long long m_runPieces = 0;
    unsigned long long m_work = 0;
};

}  // namespace

bool scanXml(std::string_view document, IS3XmlHandler& handler, const char*& error) {
    return CScanner(handler).scan(document, error);
}

}  // namespace vexil
