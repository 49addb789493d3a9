// The frame that routes the elements of one document to the handlers of the description, the
// handler of elements nobody knows, and the reading of a document into a frame.
#ifndef CORVANE_WSDL_FRAME_H
#define CORVANE_WSDL_FRAME_H

#include "wsdl/handler.h"

#include <deque>
#include <vector>

class WMSOAPWSDLDesc;
class WMSOAPWSDLClient;

namespace corvane::detail {

// The documents whose imports are being read, from the top-level load down to the current one.
// It stops import cycles and bounds the work one load can cause.
struct ImportChain {
    const ImportChain* parent = nullptr;
    WMString location;
    int depth = 0;
    // Shared by the whole load: the number of documents read so far.
    int* documentCount = nullptr;
    // The client of a standard-mode load, whose fetch settings the imports take; null otherwise.
    const WMSOAPWSDLClient* fetcher = nullptr;

    bool Contains(const WMString& loc) const;
};

constexpr int kMaxImportDepth = 16;
constexpr int kMaxImportedDocuments = 256;

}  // namespace corvane::detail

class WMWSDLParseEventHandler;

namespace corvane::detail {

// Reads `text` into `frame`: true when it is well-formed XML, else false with `line` at the
// error. Faults thrown by the handlers pass through.
using DocumentReader = bool (*)(const WMString& text, WMWSDLParseEventHandler& frame, int& line);

// The library's reader: the internal XML reader in event mode.
bool ReadDocument(const WMString& text, WMWSDLParseEventHandler& frame, int& line);

// Replaces the reader of the loads made on this thread (null: ReadDocument) and returns the one
// it replaces. The equality test of the loader drives the same handlers from WMXMLParser's events
// through it, imports included.
DocumentReader ExchangeDocumentReader(DocumentReader reader);
DocumentReader CurrentDocumentReader();

}  // namespace corvane::detail

// Skips an element and its whole subtree.
class WMWSDLNullHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
};

// Receives the events of one document in the order and form WMXMLParser sends them in event
// mode: the prefix map is flat, so a mapping ends with the element that started it.
class WMWSDLParseEventHandler {
public:
    WMWSDLParseEventHandler(WMSOAPWSDLDesc* root, const corvane::detail::ImportChain* chain)
        : m_root(root), m_chain(chain) {}
    WMWSDLParseEventHandler(const WMWSDLParseEventHandler&) = delete;
    WMWSDLParseEventHandler& operator=(const WMWSDLParseEventHandler&) = delete;

    void StartDoc();
    void StartElement(const corvane::StartTag& tag);
    void EndElement();
    void Characters(corvane::WStringView text);
    void StartNSMapping(corvane::WStringView prefix, corvane::WStringView uri);
    void EndNSMapping(corvane::WStringView prefix);

    // The prefixes a StartTag of this frame resolves values with.
    const corvane::PrefixMap& Prefixes() const { return m_prefixes; }

    // Takes a handler that no table keeps (a second definition of a name, a second record in a
    // single slot): it reads its element and is released when the element ends.
    WMWSDLEventHandler* Adopt(std::unique_ptr<WMWSDLEventHandler> handler);

    const WMSOAPWSDLDesc* Root() const { return m_root; }
    const corvane::detail::ImportChain* Chain() const { return m_chain; }

private:
    std::deque<WMWSDLEventHandler*> m_stack;
    corvane::PrefixMap m_prefixes;
    WMSOAPWSDLDesc* m_root;
    const corvane::detail::ImportChain* m_chain;
    // One null handler serves every skipped element: it keeps no state.
    WMWSDLNullHandler m_null;
    std::vector<std::unique_ptr<WMWSDLEventHandler>> m_adopted;
};

// Files `handler` in `table` under `name`; when the name is taken already the first definition
// stays and the new handler is only read, then released.
template <class T>
T* FileHandler(corvane::HandlerTable<T>& table, corvane::WStringView name,
               std::unique_ptr<T> handler, WMWSDLParseEventHandler& frame) {
    T* raw = handler.get();
    if (!table.Insert(name, handler)) {
        frame.Adopt(std::move(handler));
    }
    return raw;
}

// Keeps `handler` in a single slot unless it is taken: a second soap:body, soap:operation,
// input or output is read (so its faults are still reported) and then dropped, because the
// first occurrence is the one every peer honours and a lookup table keeps the first too.
template <class T>
T* FillSlot(std::unique_ptr<T>& slot, std::unique_ptr<T> handler, WMWSDLParseEventHandler& frame) {
    T* raw = handler.get();
    if (!slot) {
        slot = std::move(handler);
    } else {
        frame.Adopt(std::move(handler));
    }
    return raw;
}

#endif
