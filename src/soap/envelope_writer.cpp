#include "soap/envelope_writer.h"

#include <corvane/serializer.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>

#include <algorithm>
#include <cstdint>

namespace corvane::detail {

namespace {

// Orders expanded names as the attribute map orders its keys: the namespace URI followed by
// the local name, compared as one string.
bool KeyLess(std::u16string_view uri1, std::u16string_view local1, std::u16string_view uri2,
             std::u16string_view local2) {
    std::size_t const size1 = uri1.size() + local1.size();
    std::size_t const size2 = uri2.size() + local2.size();
    for (std::size_t i = 0; i < size1 && i < size2; ++i) {
        WMChar const a = i < uri1.size() ? uri1[i] : local1[i - uri1.size()];
        WMChar const b = i < uri2.size() ? uri2[i] : local2[i - uri2.size()];
        if (a != b) {
            return a < b;
        }
    }
    return size1 < size2;
}

constexpr std::uint64_t kMayEscape = (1ULL << u'&') | (1ULL << u'<') | (1ULL << u'>') |
                                     (1ULL << u'"') | (1ULL << u'\'') | (1ULL << u'\r');

bool KeyEqual(std::u16string_view uri1, std::u16string_view local1, std::u16string_view uri2,
              std::u16string_view local2) {
    return uri1.size() + local1.size() == uri2.size() + local2.size() &&
           !KeyLess(uri1, local1, uri2, local2) && !KeyLess(uri2, local2, uri1, local1);
}

}  // namespace

void EnvelopeWriter::Open(std::u16string_view prefix, std::u16string_view local) {
    if (m_depth > 0 && !Top().tagWritten) {
        WriteStartTag();
    }
    if (m_depth == m_frames.size()) {
        m_frames.emplace_back();
    }
    ++m_depth;
    Frame& frame = Top();
    frame.prefix = prefix;
    frame.local = local;
    frame.prefixes.clear();
    frame.attributes.clear();
    frame.tagWritten = false;
}

bool EnvelopeWriter::DeclarePrefix(std::u16string_view prefix, std::u16string_view uri) {
    auto& prefixes = Top().prefixes;
    auto at = std::lower_bound(prefixes.begin(), prefixes.end(), prefix,
                               [](auto const& entry, View p) { return entry.first < p; });
    if (at != prefixes.end() && at->first == prefix) {
        return false;
    }
    prefixes.emplace(at, prefix, uri);
    return true;
}

bool EnvelopeWriter::SetAttribute(std::u16string_view prefix, std::u16string_view local,
                                  std::u16string_view uri, std::u16string_view value) {
    Frame& frame = Top();
    for (auto const& [bound, boundURI] : frame.prefixes) {
        if (bound == prefix && boundURI != uri) {
            return false;
        }
    }
    for (Attribute const& attribute : frame.attributes) {
        if (KeyEqual(attribute.uri, attribute.local, uri, local)) {
            return false;
        }
    }
    DeclarePrefix(prefix, uri);
    frame.attributes.push_back(Attribute{prefix, local, uri, value});
    return true;
}

void EnvelopeWriter::Text(std::u16string_view text) {
    if (text.empty()) {
        return;
    }
    if (!Top().tagWritten) {
        WriteStartTag();
    }
    AppendEscaped(text, false);
}

void EnvelopeWriter::AppendElement(WMXMLElement const& element) {
    Frame& frame = Top();
    if (!frame.tagWritten) {
        WriteStartTag();
    }
    if (frame.prefixes.empty()) {
        element.Serialize(nullptr, m_out);
        return;
    }
    WMString name(frame.prefix);
    name.push_back(u':');
    name.append(frame.local);
    WMXMLElement parent(name);
    for (auto const& [prefix, uri] : frame.prefixes) {
        parent.SetNSPrefix(WMString(prefix), WMString(uri));
    }
    element.Serialize(&parent, m_out);
}

void EnvelopeWriter::Close() {
    Frame& frame = Top();
    if (frame.tagWritten) {
        m_out.append(u"</");
        WriteName(frame);
        m_out.push_back(u'>');
    } else {
        WriteTagBody(frame);
        m_out.append(u" />");
    }
    --m_depth;
}

void EnvelopeWriter::WriteName(Frame const& frame) {
    if (!frame.prefix.empty()) {
        m_out.append(frame.prefix);
        m_out.push_back(u':');
    }
    m_out.append(frame.local);
}

void EnvelopeWriter::WriteStartTag() {
    Frame& frame = Top();
    WriteTagBody(frame);
    m_out.push_back(u'>');
    frame.tagWritten = true;
}

EnvelopeWriter::WrittenTag& EnvelopeWriter::WrittenSlot(Frame const& frame) {
    std::size_t hash =
        frame.local.size() * 31 + frame.attributes.size() * 7 + frame.prefixes.size();
    if (!frame.local.empty()) {
        hash += frame.local.front() + frame.local.back() * 5;
    }
    return m_written[hash % kWrittenTags];
}

bool EnvelopeWriter::WrittenAlike(WrittenTag const& tag, Frame const& frame,
                                  Frame const* parent) const {
    auto const same = [](View a, View b) { return a.data() == b.data() && a.size() == b.size(); };
    auto const samePairs = [&same](std::vector<std::pair<View, View>> const& a,
                                   std::vector<std::pair<View, View>> const& b) {
        if (a.size() != b.size()) {
            return false;
        }
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (!same(a[i].first, b[i].first) || !same(a[i].second, b[i].second)) {
                return false;
            }
        }
        return true;
    };
    if (!tag.used || tag.escapeCarriageReturn != m_escapeCarriageReturn ||
        tag.local != frame.local || tag.prefix != frame.prefix ||
        tag.attributes.size() != frame.attributes.size() ||
        !samePairs(tag.prefixes, frame.prefixes)) {
        return false;
    }
    static std::vector<std::pair<View, View>> const kNone;
    if (!samePairs(tag.parentPrefixes, parent != nullptr ? parent->prefixes : kNone)) {
        return false;
    }
    for (std::size_t i = 0; i < tag.attributes.size(); ++i) {
        Attribute const& a = tag.attributes[i];
        Attribute const& b = frame.attributes[i];
        if (!same(a.prefix, b.prefix) || !same(a.local, b.local) || !same(a.uri, b.uri) ||
            !same(a.value, b.value)) {
            return false;
        }
    }
    return true;
}

// Mixes what WrittenAlike compares: names by content, the other texts by address.
std::size_t EnvelopeWriter::Signature(Frame const& frame, Frame const* parent) const {
    std::size_t hash = m_escapeCarriageReturn ? 1 : 0;
    auto const mix = [&hash](std::size_t value) { hash = (hash ^ value) * 0x100000001b3ULL; };
    auto const mixAddress = [&mix](View text) {
        mix(reinterpret_cast<std::uintptr_t>(text.data()));
        mix(text.size());
    };
    for (View name : {frame.prefix, frame.local}) {
        mix(name.size());
        for (WMChar c : name) {
            mix(c);
        }
    }
    for (Attribute const& attribute : frame.attributes) {
        for (View text : {attribute.prefix, attribute.local, attribute.uri, attribute.value}) {
            mixAddress(text);
        }
    }
    for (auto const* pairs : {&frame.prefixes, parent != nullptr ? &parent->prefixes : nullptr}) {
        mix(pairs != nullptr ? pairs->size() : 0);
        for (std::size_t i = 0; pairs != nullptr && i < pairs->size(); ++i) {
            mixAddress((*pairs)[i].first);
            mixAddress((*pairs)[i].second);
        }
    }
    return hash;
}

void EnvelopeWriter::WriteTagBody(Frame& frame) {
    Frame const* parent = m_depth > 1 ? &m_frames[m_depth - 2] : nullptr;
    WrittenTag& written = WrittenSlot(frame);
    if (WrittenAlike(written, frame, parent)) {
        m_out.append(written.text);
        return;
    }
    written.used = false;
    std::size_t const signature = Signature(frame, parent);
    bool const keep = written.signature == signature;
    written.signature = signature;
    if (keep) {
        written.prefix.assign(frame.prefix);
        written.local.assign(frame.local);
        written.attributes = frame.attributes;
        written.prefixes = frame.prefixes;
        if (parent != nullptr) {
            written.parentPrefixes = parent->prefixes;
        } else {
            written.parentPrefixes.clear();
        }
        written.escapeCarriageReturn = m_escapeCarriageReturn;
    }
    std::size_t const start = m_out.size();

    m_out.push_back(u'<');
    WriteName(frame);
    if (frame.attributes.size() > 1) {
        std::sort(frame.attributes.begin(), frame.attributes.end(),
                  [](Attribute const& a, Attribute const& b) {
                      return KeyLess(a.uri, a.local, b.uri, b.local);
                  });
    }
    for (Attribute const& attribute : frame.attributes) {
        m_out.push_back(u' ');
        m_out.append(attribute.prefix);
        m_out.push_back(u':');
        m_out.append(attribute.local);
        m_out.append(u"=\"");
        AppendAttributeText(attribute.value);
        m_out.push_back(u'"');
    }
    for (auto const& [prefix, uri] : frame.prefixes) {
        if (parent != nullptr) {
            bool alike = false;
            for (auto const& [parentPrefix, parentURI] : parent->prefixes) {
                if (parentPrefix == prefix) {
                    alike = parentURI == uri;
                    break;
                }
            }
            if (alike) {
                continue;
            }
        }
        m_out.append(prefix.empty() ? u" xmlns" : u" xmlns:");
        m_out.append(prefix);
        m_out.append(u"=\"");
        AppendAttributeText(uri);
        m_out.push_back(u'"');
    }
    if (keep) {
        written.text.assign(m_out, start, WMString::npos);
        written.used = true;
    }
}

void EnvelopeWriter::AppendAttributeText(View text) {
    CleanText& slot = m_clean[(reinterpret_cast<std::uintptr_t>(text.data()) >> 4) % 16];
    if (slot.data == text.data() && slot.size == text.size()) {
        m_out.append(text);
        return;
    }
    std::size_t const before = m_out.size();
    AppendEscaped(text, true);
    if (m_out.size() - before == text.size()) {
        slot.data = text.data();
        slot.size = text.size();
    }
}

void EnvelopeWriter::AppendEscaped(View text, bool attribute) {
    std::size_t run = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        // One test for the six characters that may need escaping; ':' and '/' of the URIs
        // and most other text pass at once.
        WMChar const c = text[i];
        if (c > u'>' || ((kMayEscape >> c) & 1) == 0) {
            continue;
        }
        View entity;
        switch (text[i]) {
            case u'&':
                entity = u"&amp;";
                break;
            case u'<':
                entity = u"&lt;";
                break;
            case u'>':
                if (!attribute) {
                    entity = u"&gt;";
                }
                break;
            case u'"':
                if (attribute) {
                    entity = u"&quot;";
                }
                break;
            case u'\'':
                if (attribute) {
                    entity = u"&apos;";
                }
                break;
            case u'\r':
                if (m_escapeCarriageReturn) {
                    entity = u"&#xD;";
                }
                break;
            default:
                break;
        }
        if (!entity.empty()) {
            m_out.append(text.substr(run, i - run));
            m_out.append(entity);
            run = i + 1;
        }
    }
    m_out.append(text.substr(run));
}

SchemaType& TypeCache::Type(WMString const& name, WMString const& ns) {
    // U+0000 cannot occur in a name read from a document, so it separates the two parts.
    m_key.assign(ns);
    m_key.push_back(u'\0');
    m_key.append(name);
    auto it = m_types.find(m_key);
    if (it == m_types.end()) {
        auto type = std::make_unique<SchemaType>();
        type->name = name;
        type->ns = ns;
        Describe(*type);
        it = m_types.emplace(m_key, std::move(type)).first;
    }
    return *it->second;
}

void TypeCache::Describe(SchemaType& type) {
    type.builtIn = WMSOAPSerializer::IsXSDType(type.ns) || WMSOAPSerializer::IsSoapEncType(type.ns);
    // Values of a type outside the schema namespaces still need an instance namespace for
    // their xsi attributes: the 2001 one, the one every reader knows.
    WMChar const* instance = WMSOAPSerializer::GetXSDInstanceNS(type.ns);
    type.instanceNS = instance != nullptr ? std::u16string_view(instance) : kXsi2001NS;
    if (type.builtIn) {
        type.standardPrefix = WMSOAPSerializer::IsSoapEncType(type.ns) ? u"SOAP-ENC" : u"xsd";
        type.standardType.assign(type.standardPrefix);
        type.standardType.push_back(u':');
        type.standardType.append(type.name);
        return;
    }
    // No answer means the WSDL does not know the type; a known type that derives from nothing
    // answers with an empty base and is a struct.
    WMString baseName;
    WMString baseNS;
    if (!m_wsdl.GetComplexBaseType(type.name, type.ns, baseName, baseNS)) {
        type.kind = SchemaType::Kind::Unknown;
        return;
    }
    type.explicitType = u"nss:" + type.name;
    if (!WMSOAPSerializer::IsSoapEncType(baseNS) || baseName == u"Struct") {
        type.kind = SchemaType::Kind::Struct;
        return;
    }
    unsigned int dims = 0;
    if (baseName != u"Array" ||
        !m_wsdl.GetArrayType(type.name, type.ns, type.itemName, type.itemNS) ||
        !m_wsdl.GetArrayDims(type.name, type.ns, dims)) {
        type.kind = SchemaType::Kind::Unsupported;
        return;
    }
    type.kind = SchemaType::Kind::Array;
    type.dims = dims;
    // The item type as the WSDL declares it, dimensions included; no count from the value.
    type.arrayType = u"nsa:" + type.itemName + u"[";
    for (unsigned int dim = 1; dim < dims; ++dim) {
        type.arrayType.push_back(u',');
    }
    type.arrayType.push_back(u']');
}

SchemaType::Member* TypeCache::Member(SchemaType& type, WMString const& name, WMString const& ns) {
    // The structs of an array list their members in the same order, one item after another:
    // the search starts after the member found last.
    std::size_t const count = type.members.size();
    for (std::size_t k = 0; k < count; ++k) {
        std::size_t const at =
            type.nextMember + k < count ? type.nextMember + k : type.nextMember + k - count;
        SchemaType::Member* member = type.members[at].get();
        if (member->name == name && member->ns == ns) {
            type.nextMember = at + 1 < count ? at + 1 : 0;
            return member->known ? member : nullptr;
        }
    }
    auto member = std::make_unique<SchemaType::Member>();
    member->name = name;
    member->ns = ns;
    member->known =
        m_wsdl.GetStructMemberType(type.name, type.ns, name, ns, member->typeName, member->typeNS);
    type.members.push_back(std::move(member));
    return type.members.back()->known ? type.members.back().get() : nullptr;
}

SchemaType& TypeCache::TypeOf(SchemaType::Member& member) {
    if (member.type == nullptr) {
        member.type = &Type(member.typeName, member.typeNS);
    }
    return *member.type;
}

WMString const& TypeCache::Keep(WMString text) {
    m_kept.push_front(std::move(text));
    return m_kept.front();
}

SchemaType& TypeCache::ItemOf(SchemaType& array) {
    if (array.item == nullptr) {
        array.item = &Type(array.itemName, array.itemNS);
    }
    return *array.item;
}

}  // namespace corvane::detail
