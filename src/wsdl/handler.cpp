#include "wsdl/handler.h"

#include <cstdlib>
#include <iterator>
#include <new>

namespace corvane {

const WMString kWsdlNS = u"http://schemas.xmlsoap.org/wsdl/";
const WMString kWsdlSoapNS = u"http://schemas.xmlsoap.org/wsdl/soap/";
const WMString kXsdNS2001 = u"http://www.w3.org/2001/XMLSchema";
const WMString kXsdNS2000 = u"http://www.w3.org/2000/10/XMLSchema";
const WMString kXsdNS1999 = u"http://www.w3.org/1999/XMLSchema";
const WMString kSoapEncNS = u"http://schemas.xmlsoap.org/soap/encoding/";

bool IsSchemaNS(WStringView ns) {
    return TextEquals(ns, kXsdNS2001) || TextEquals(ns, kXsdNS2000) || TextEquals(ns, kXsdNS1999);
}

void ThrowSchemaError(WMString message) {
    throw new WMWebServicesDescFault(u"WSDL Schema Error", std::move(message));
}

void ThrowMissingAttribute(const char16_t* attr, const char16_t* elem, bool fullStop) {
    WMString message = u"Required attribute '";
    message += attr;
    message += u"' missing on element: '";
    message += elem;
    message += fullStop ? u"'." : u"'";
    ThrowSchemaError(std::move(message));
}

bool StartTag::Key::Equals(const Key& other) const {
    if (size() != other.size()) {
        return false;
    }
    // Keys that reach this are short and rare (most lookups compare the attribute's name alone),
    // so a plain walk over the joined text does.
    const auto at = [](const Key& key, std::size_t i) {
        for (WStringView piece : key.part) {
            if (i < piece.size()) {
                return piece[i];
            }
            i -= piece.size();
        }
        return u'\0';
    };
    for (std::size_t i = 0; i < size(); ++i) {
        if (at(*this, i) != at(other, i)) {
            return false;
        }
    }
    return true;
}

WStringView StartTag::Require(WStringView elemAttr, const char16_t* attr, const char16_t* elem,
                              bool fullStop) const {
    std::optional<WStringView> value = Find(elemAttr);
    if (!value) {
        ThrowMissingAttribute(attr, elem, fullStop);
    }
    return *value;
}

QName StartTag::Resolve(WStringView value, const char16_t* attr, const char16_t* elem) const {
    std::size_t colon = value.find(u':');
    WStringView prefix;
    WStringView local = value;
    if (colon != WStringView::npos) {
        prefix = value.substr(0, colon);
        local = value.substr(colon + 1);
    }
    const PrefixMap::Binding* binding = m_prefixes.Find(prefix);
    if (!binding) {
        WMString message = u"Unresolvable namespace for attribute '";
        message += attr;
        message += u"' on element: '";
        message += elem;
        message += u"'";
        ThrowSchemaError(std::move(message));
    }
    detail::HandlerArena* arena = detail::HandlerArena::Current();
    if (arena) {
        if (binding->keptBy != arena) {
            binding->kept = &arena->Keep(binding->uri);
            binding->keptBy = arena;
        }
        return QName{NamespaceText::Kept(*binding->kept), WMString(local)};
    }
    return QName{binding->uri, WMString(local)};
}

namespace detail {

std::mutex& TableOrderMutex() {
    static std::mutex mutex;
    return mutex;
}

namespace {

constexpr std::size_t kAlign = alignof(std::max_align_t);
constexpr std::size_t kBlockBytes = 64 * 1024;

thread_local HandlerArena* t_currentArena = nullptr;

std::size_t RoundUp(std::size_t size) {
    return (size + kAlign - 1) & ~(kAlign - 1);
}

}  // namespace

HandlerArena::~HandlerArena() {
    for (void* block : m_blocks) {
        std::free(block);
    }
}

void* HandlerArena::Allocate(std::size_t size) {
    size = RoundUp(size);
    if (size > m_left) {
        // An object larger than a quarter block gets a block of its own, so that the rest of
        // the current block is not wasted.
        const bool own = size > kBlockBytes / 4;
        const std::size_t bytes = own ? size : kBlockBytes;
        void* block = std::malloc(bytes);
        if (!block) {
            throw std::bad_alloc();
        }
        m_blocks.push_back(block);
        if (own) {
            return block;
        }
        m_next = static_cast<char*>(block);
        m_left = bytes;
    }
    void* result = m_next;
    m_next += size;
    m_left -= size;
    return result;
}

const WMString& HandlerArena::Keep(WStringView text) {
    for (const WMString* recent : m_recent) {
        if (recent && TextEquals(*recent, text)) {
            return *recent;
        }
    }
    const WMString* kept;
    auto it = m_keptIndex.find(text);
    if (it != m_keptIndex.end()) {
        kept = it->second;
    } else {
        // A deque never moves what it holds, so the index may key on the kept texts.
        kept = &m_kept.emplace_back(text);
        m_keptIndex.emplace(*kept, kept);
    }
    m_recent[m_recentNext] = kept;
    m_recentNext = (m_recentNext + 1) % std::size(m_recent);
    return *kept;
}

HandlerArena* HandlerArena::Current() {
    return t_currentArena;
}

HandlerArena::Use::Use(HandlerArena* arena) : m_previous(t_currentArena) {
    t_currentArena = arena;
}

HandlerArena::Use::~Use() {
    t_currentArena = m_previous;
}

}  // namespace detail

}  // namespace corvane

WMWSDLEventHandler::~WMWSDLEventHandler() = default;

// Each handler is preceded by one aligned word saying where it lives, because a description is
// released on whatever thread lets go of it last, long after its load.
void* WMWSDLEventHandler::operator new(std::size_t size) {
    using corvane::detail::HandlerArena;
    const std::size_t header = corvane::detail::kAlign;
    HandlerArena* arena = HandlerArena::Current();
    void* block = arena ? arena->Allocate(header + size) : ::operator new(header + size);
    *static_cast<HandlerArena**>(block) = arena;
    return static_cast<char*>(block) + header;
}

void WMWSDLEventHandler::operator delete(void* pointer) {
    if (!pointer) {
        return;
    }
    const std::size_t header = corvane::detail::kAlign;
    void* block = static_cast<char*>(pointer) - header;
    if (!*static_cast<corvane::detail::HandlerArena**>(block)) {
        ::operator delete(block);
    }
}

bool WMWSDLEventHandler::EndElement() {
    return true;
}

void WMWSDLEventHandler::CharacterData(corvane::WStringView) {}

void WMWSDLEventHandler::ReadAttributes(const corvane::StartTag&) {}

void WMWSDLEventHandler::SetTargetNS(corvane::WStringView ns) {
    if (corvane::detail::HandlerArena* arena = corvane::detail::HandlerArena::Current()) {
        m_targetNS = &arena->Keep(ns);
        m_ownedTargetNS.reset();
    } else {
        m_ownedTargetNS = std::make_shared<const WMString>(ns);
        m_targetNS = m_ownedTargetNS.get();
    }
}

const WMString& WMWSDLEventHandler::GetTargetNS() const {
    static const WMString none;
    return m_targetNS ? *m_targetNS : none;
}
