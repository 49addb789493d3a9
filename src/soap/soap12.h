// SOAP 1.2 for the document/literal extension: the envelope namespace, the content type with its
// action parameter (1.2 has no SOAPAction header), and faults in both versions, so that a client
// and a server can speak either version with one fault value.
//
// Fault codes are kept in the form callers of this library already compare against: the 1.1
// code with the library's prefix ("SOAP-ENV:Client", "SOAP-ENV:Server", "SOAP-ENV:MustUnderstand",
// ...). A 1.2 Sender is read as "SOAP-ENV:Client" and Receiver as "SOAP-ENV:Server", so code
// written for a 1.1 service works unchanged when the service binds 1.2; the 1.2 value itself and
// its subcodes stay in the Fault for whoever needs them.
//
// Internal: not part of the exported interface.
#ifndef CORVANE_SOAP_SOAP12_H
#define CORVANE_SOAP_SOAP12_H

#include <corvane/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace corvane::detail {

struct XMLNode;

namespace soap12 {

inline constexpr std::u16string_view kEnvelope11NS = u"http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr std::u16string_view kEnvelopeNS = u"http://www.w3.org/2003/05/soap-envelope";
inline constexpr char kContentType11[] = "text/xml; charset=utf-8";
inline constexpr char kContentType[] = "application/soap+xml; charset=utf-8";

// The content type of a 1.2 request: kContentType with `action="..."` (quoted, `"` and `\`
// escaped) when the action is not empty.
std::string RequestContentType(std::string_view action);

struct MediaType {
    bool soap12 = false;  // application/soap+xml
    bool hasAction = false;
    std::string action;  // unquoted, escapes resolved
};

// Reads a Content-Type header: the media type (case-insensitive) and the action parameter.
// False when the header is not a media type at all.
bool ParseContentType(std::string_view header, MediaType& type);

// 11 or 12 for an Envelope element of that version, 0 for anything else.
int EnvelopeVersion(XMLNode const& root);

struct Code {
    WMString ns;
    WMString local;
};

struct Fault {
    WMString code;               // the caller's form, see above
    Code value;                  // the 1.2 Code/Value as read or written
    std::vector<Code> subcodes;  // outermost first
    WMString reason;
    WMString lang = u"en";
    WMString node;  // 1.1's faultactor
    WMString role;
    bool hasDetail = false;
    WMString detail;  // the children of Detail (detail), as XML text
};

// The 1.2 Value of a caller's code: Client and Sender (also "Client.Something") are Sender; the
// other four 1.2 codes map to themselves; every other code is Receiver, since a code 1.2 does not
// define says nothing the client could correct.
Code ValueOf(std::u16string_view callerCode);
// The caller's code of a 1.2 Value (Sender → "SOAP-ENV:Client", Receiver → "SOAP-ENV:Server",
// the others "SOAP-ENV:" and their name); a value outside the envelope namespace is Server.
WMString CallerCode(Code const& value);

// Writes `<Envelope><Body>` of the version (prefix "SOAP-ENV" for 1.1, "env" for 1.2), after
// the XML declaration, and the matching end.
void OpenEnvelope(int version, WMString& out);
void CloseEnvelope(int version, WMString& out);

// A whole fault envelope. 1.1 writes faultcode (the caller's code as given), faultstring,
// faultactor (node) and detail; 1.2 writes Code/Value (mapped from the caller's code), Subcodes,
// Reason/Text with xml:lang, Node, Role and Detail. `detail` is copied as it is.
void WriteFault(int version, Fault const& fault, WMString& out);

// The library's XML reader, like its parser, refuses a prefix nobody declared, and it knows no
// predeclared "xml" prefix; 1.2 faults carry xml:lang. Declares the prefix (bound to its fixed
// namespace) on the root element of an envelope text that uses it, before the text is read.
void DeclareXmlPrefix(WMString& text);

// Reads the Fault in the Body of a parsed envelope of either version; false when the Body has no
// Fault. A 1.2 fault without Code/Value or Reason/Text is still read, with what it has.
bool ReadFault(XMLNode const& envelope, Fault& fault);

}  // namespace soap12
}  // namespace corvane::detail

#endif
