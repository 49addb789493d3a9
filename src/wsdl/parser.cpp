#include <corvane/http.h>
#include <corvane/utf8.h>
#include <corvane/wsdl.h>

#include "platform/codepage.h"
#include "platform/file.h"
#include "wsdl/description.h"
#include "wsdl/frame.h"

#include <memory>
#include <new>
#include <string>

namespace {

// A description is a text document; anything larger than this is refused rather than read.
constexpr std::size_t kMaxDocumentBytes = 64u << 20;

WMString Decimal(long value) {
    std::string digits = std::to_string(value);
    return WMString(digits.begin(), digits.end());
}

}  // namespace

WMWSDLParser::WMWSDLParser() = default;
WMWSDLParser::WMWSDLParser(const WMWSDLParser& other) = default;
WMWSDLParser& WMWSDLParser::operator=(const WMWSDLParser& other) = default;
WMWSDLParser::~WMWSDLParser() = default;

const WMSOAPWSDLDesc* WMWSDLParser::GetWSDLDesc() const {
    return m_desc.get();
}

const WMString& WMWSDLParser::GetDocBase() {
    return m_docBase;
}

void WMWSDLParser::SetDocBase(const WMString& docBase) {
    m_docBase = docBase;
}

const WMString& WMWSDLParser::GetLoadErrorCategory() const {
    return m_loadErrorCategory;
}

const WMString& WMWSDLParser::GetLoadErrorMessage() const {
    return m_loadErrorMessage;
}

void WMWSDLParser::SetLoadError(const WMString& category, const WMString& message) {
    m_loadErrorCategory = category;
    m_loadErrorMessage = message;
}

bool WMWSDLParser::LoadAndParseWSDLFile(const WMString& path) {
    ++m_loadGeneration;
    m_desc.reset();
    SetLoadError(WMString(), WMString());
    std::string utf8Path;
    WideStringToUTF8(path, utf8Path);
    std::string bytes;
    switch (corvane::platform::ReadWholeFile(utf8Path, kMaxDocumentBytes, bytes)) {
        case corvane::platform::FileReadResult::kOk:
            break;
        case corvane::platform::FileReadResult::kCannotOpen:
            SetLoadError(u"File Error", u"Cannot open '" + path + u"'.");
            return false;
        case corvane::platform::FileReadResult::kTooLarge:
            SetLoadError(u"File Error", u"'" + path + u"' is larger than " +
                                            Decimal(kMaxDocumentBytes >> 20) + u" MiB.");
            return false;
        case corvane::platform::FileReadResult::kReadError:
            SetLoadError(u"File Error", u"Cannot read '" + path + u"'.");
            return false;
    }
    // The bytes are taken in the ANSI code page, not as UTF-8, as documents from files always
    // have been by this loader.
    return ParseWSDLText(corvane::platform::AnsiToWide(bytes));
}

bool WMWSDLParser::GetAndParseWSDLFile(const WMString& host, const WMString& uri,
                                       const WMString& userAgent, const WMString& headers, int port,
                                       unsigned long timeout) {
    ++m_loadGeneration;
    m_desc.reset();
    SetLoadError(WMString(), WMString());
    WMHTTPRequestSock request(port, timeout);
    WMString headerBlock = u"Host: " + host + u":" + Decimal(port) + u"\r\nUser-Agent: " +
                           userAgent + u"\r\n" + headers;
    // The query goes separately so that its "?" reaches the server as written instead of being
    // escaped as part of the path.
    std::size_t question = uri.find(u'?');
    WMString path = uri.substr(0, question);
    WMString query = question == WMString::npos ? WMString() : uri.substr(question + 1);
    if (!request.SendHTTPRequest(port, u"GET", host, path, query, headerBlock, WMString())) {
        SetLoadError(u"HTTP Error",
                     u"The request to " + host + u":" + Decimal(port) + uri + u" failed.");
        return false;
    }
    int status = request.GetStatus();
    if (status != 200) {
        SetLoadError(u"HTTP Error", u"The server answered " + host + u":" + Decimal(port) + uri +
                                        u" with status " + Decimal(status) + u".");
        return false;
    }
    const WMChar* content = request.GetContent();
    return ParseWSDLText(content ? WMString(content) : WMString());
}

bool WMWSDLParser::ParseWSDLText(const WMString& text) {
    using corvane::detail::HandlerArena;
    auto desc = std::make_shared<WMSOAPWSDLDesc>();
    desc->SetDocBase(m_docBase);
    // An import's handlers move into the importing description, so they share its arena.
    HandlerArena* importing = HandlerArena::Current();
    std::shared_ptr<HandlerArena> arena =
        importing ? importing->shared_from_this() : std::make_shared<HandlerArena>();
    desc->SetArena(arena);
    HandlerArena::Use use(arena.get());
    m_desc = desc;
    int documentCount = 0;
    corvane::detail::ImportChain root;
    root.documentCount = &documentCount;
    const corvane::detail::ImportChain* chain = m_importChain ? m_importChain : &root;
    try {
        WMWSDLParseEventHandler frame(desc.get(), chain);
        int line = 1;
        if (corvane::detail::CurrentDocumentReader()(text, frame, line)) {
            return true;
        }
        SetLoadError(u"XML Parse Error",
                     u"The document is not well-formed XML (line " + Decimal(line) + u").");
    } catch (WMWebServicesDescFault* raised) {
        std::unique_ptr<WMWebServicesDescFault> fault(raised);
        SetLoadError(fault->GetCategory(), fault->GetMessage());
    } catch (const std::bad_alloc&) {
        SetLoadError(u"Internal Error", u"Memory allocation failure.");
    } catch (...) {
        SetLoadError(u"Internal Error", u"The document could not be read.");
    }
    m_desc.reset();
    return false;
}
