// The XML parser: a recursive-descent reader of one document held as wide text, which builds a
// WMXMLElement tree and reports parse events to a WMXMLEventHandler.
#ifndef CORVANE_XML_PARSER_H
#define CORVANE_XML_PARSER_H

#include <corvane/types.h>
#include <corvane/xml.h>

// Receives the events of a parse. The strings and the element passed to a call are valid only
// during the call, unless the parser keeps the tree (build-tree mode).
namespace corvane::detail {
struct XMLParserAccess;
}

class WMXMLEventHandler {
public:
    virtual ~WMXMLEventHandler() {}
    virtual void StartDoc() {}
    virtual void EndDoc() {}
    // The parser ignores the result.
    virtual int StartElement(WMString const& ns, WMString const& localName,
                             WMString const& qualifiedName, WMXMLAttributeMap& attributes,
                             WMXMLElement* element) = 0;
    // The parser ignores the result.
    virtual bool EndElement(WMString const& ns, WMString const& localName,
                            WMString const& qualifiedName, WMXMLElement* element) {
        (void)ns;
        (void)localName;
        (void)qualifiedName;
        (void)element;
        return true;
    }
    // Sent once per element with its whole text, after the events of its children.
    virtual void Characters(WMString const& text) { (void)text; }
    virtual void FatalError(int line) { (void)line; }
    virtual void PI(WMString const& target, WMString const& data) {
        (void)target;
        (void)data;
    }
    virtual void StartNSMapping(WMString const& prefix, WMString const& uri) {
        (void)prefix;
        (void)uri;
    }
    virtual void EndNSMapping(WMString const& prefix) { (void)prefix; }
};

class CORVANE_API WMXMLParser {
public:
    // Elements nested deeper than this end the parse with the ordinary fatal error, so that
    // hostile input cannot exhaust the stack of the recursive descent.
    static constexpr int kMaxNestingDepth = 256;

    WMXMLParser();
    // Copies the line number and the build-tree flag; the copy has no document root.
    WMXMLParser(WMXMLParser const& other);
    WMXMLParser& operator=(WMXMLParser const& other);
    virtual ~WMXMLParser();

    // true (the default) keeps every element in the tree; false deletes each child element
    // right after its events (event mode), keeping only the root.
    void SetBuildTree(bool buildTree);

    // Parses `text` as one document, reporting events to `handler` (may be null). On a syntax
    // error sends FatalError(line) and throws the line number as an int. Line numbers continue
    // from the previous parse of this object.
    void ParseXML(WMString const& text, WMXMLEventHandler* handler);

    WMXMLElement* GetDocRoot();
    // Returns the root and gives up its ownership.
    WMXMLElement* DetachDocRoot();
    // Deletes the current root and takes ownership of `root`.
    void SetDocRoot(WMXMLElement* root);

    // Replaces `out` with the XML declaration followed by the root's markup and returns its
    // length; 0 without touching `out` when there is no root.
    int SerializeXML(WMString& out);

private:
    // Internal callers whose handlers never touch the text parse it in place (not exported).
    friend struct corvane::detail::XMLParserAccess;
    void Parse(WMString const& text, WMXMLEventHandler* handler);

    int m_line;
    WMXMLEventHandler* m_handler;
    WMXMLElement* m_root;
    bool m_buildTree;
};

#endif
