#include "soap/envelope_writer.h"

#include <corvane/serializer.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>

#include "soap/server_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

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

// Equal texts; the same URIs and prefixes come back by the same address most of the time, and
// the prefixes that differ (xsi and xsd, nsa and nss, SOAP-ENV and SOAP-ENC) differ at the end.
bool SameText(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size() || a.data() == b.data() || a.empty()) {
        return a.size() == b.size();
    }
    return a.back() == b.back() && std::memcmp(a.data(), b.data(), a.size() * sizeof(WMChar)) == 0;
}

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
    while (!m_local.empty() && m_local.back().depth == m_depth) {
        m_local.pop_back();
        ++m_generation;
    }
    if (m_depth == 1 && !m_hoisted.empty()) {
        // One move of the text written since, once per envelope.
        m_out.insert(m_rootTagEnd, m_hoisted);
        if (m_spill && m_spill->at > m_rootTagEnd) {
            m_spill->at += m_hoisted.size();
        }
        m_hoisted.clear();
    }
    --m_depth;
    if (m_spill && m_depth > 0 && m_out.size() >= kSpillUnits) {
        Spill();
    }
}

void EnvelopeWriter::Spill() {
    // The outermost start tag takes hoisted declarations until it closes, so it stays. The
    // text ends with ">" here: no surrogate pair is cut.
    std::size_t const keep = m_hoist ? m_rootTagEnd + 1 : 0;
    std::u16string_view const text = std::u16string_view(m_out).substr(keep);
    std::string piece;
    if (!m_spill->strict) {
        AppendUTF8(text, piece);
    } else if (!AppendStrictUTF8(text, piece)) {
        m_spill = nullptr;
        return;
    }
    m_spill->pieces.push_back(std::move(piece));
    m_spill->at = keep;
    m_out.resize(keep);
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
    if (m_depth == 1) {
        m_rootTagEnd = m_out.size();
    }
    m_out.push_back(u'>');
    frame.tagWritten = true;
}

std::size_t EnvelopeWriter::Signature(Frame const& frame) {
    // Never 0, which stands for no tag yet.
    std::size_t signature =
        1 + frame.local.size() * 31 + frame.attributes.size() * 7 + frame.prefixes.size();
    if (!frame.local.empty()) {
        signature += frame.local.front() + frame.local.back() * 5;
    }
    return signature;
}

bool EnvelopeWriter::WrittenAlike(WrittenTag const& tag, Frame const& frame,
                                  std::vector<std::pair<View, View>> const& inherited) const {
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
    if (!samePairs(tag.parentPrefixes, inherited)) {
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

EnvelopeWriter::View EnvelopeWriter::Bound(View prefix) {
    // The items of an array ask for the same few prefixes, by the same address, while no
    // binding comes or goes: the answer is remembered until one does.
    Resolved& slot = m_resolved[(reinterpret_cast<std::uintptr_t>(prefix.data()) >> 1) % 8];
    if (slot.generation == m_generation && slot.prefix == prefix.data() &&
        slot.size == prefix.size()) {
        return slot.bound;
    }
    // Below the outermost element a binding differs from the outermost one only where an
    // element declared it itself; those few are looked at first.
    View bound;
    auto local = std::find_if(m_local.rbegin(), m_local.rend(),
                              [&](Local const& l) { return SameText(l.prefix, prefix); });
    if (local != m_local.rend()) {
        bound = local->uri;
    } else {
        for (auto const& outer : m_frames[0].prefixes) {
            if (SameText(outer.first, prefix)) {
                bound = outer.second;
                break;
            }
        }
    }
    slot = Resolved{prefix.data(), prefix.size(), m_generation, bound};
    return bound;
}

void EnvelopeWriter::Inherited(Frame const& frame) {
    m_inherited.clear();
    for (auto const& entry : frame.prefixes) {
        m_inherited.emplace_back(entry.first, m_depth > 1 ? Bound(entry.first) : View());
    }
}

void EnvelopeWriter::RecordLocal(Frame const& frame) {
    if (m_depth < 2) {
        return;
    }
    for (std::size_t i = 0; i < frame.prefixes.size(); ++i) {
        auto const& [prefix, uri] = frame.prefixes[i];
        View const bound = m_inherited[i].second;
        if (bound.data() == nullptr ? prefix.empty() : !SameText(bound, uri)) {
            m_local.push_back(Local{m_depth, prefix, uri});
            ++m_generation;
        }
    }
}

void EnvelopeWriter::AppendDeclaration(View prefix, View uri) {
    m_out.append(prefix.empty() ? u" xmlns" : u" xmlns:");
    m_out.append(prefix);
    m_out.append(u"=\"");
    AppendAttributeText(uri);
    m_out.push_back(u'"');
}

void EnvelopeWriter::WriteTagBody(Frame& frame) {
    static std::vector<std::pair<View, View>> const kNone;
    Frame const* parent = m_depth > 1 ? &m_frames[m_depth - 2] : nullptr;
    if (m_hoist) {
        Inherited(frame);
    }
    auto const& inherited = m_hoist ? m_inherited : parent != nullptr ? parent->prefixes : kNone;
    std::size_t const signature = Signature(frame);
    WrittenTag& written = m_written[signature % kWrittenTags];
    if (WrittenAlike(written, frame, inherited)) {
        m_out.append(written.text);
        if (m_hoist) {
            RecordLocal(frame);
        }
        return;
    }
    // A tag is kept for reuse once one like it has come to its slot before: most tags of an
    // envelope come once, and keeping those would cost more than it saves.
    bool const keep = written.lastSignature == signature;
    written.lastSignature = signature;
    written.used = false;
    if (keep) {
        written.prefix.assign(frame.prefix);
        written.local.assign(frame.local);
        written.attributes = frame.attributes;
        written.prefixes = frame.prefixes;
        written.parentPrefixes = inherited;
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
    if (m_hoist) {
        WriteHoisting(frame);
        RecordLocal(frame);
        if (keep) {
            written.text.assign(m_out, start, WMString::npos);
            written.used = true;
        }
        return;
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
        AppendDeclaration(prefix, uri);
    }
    if (keep) {
        written.text.assign(m_out, start, WMString::npos);
        written.used = true;
    }
}

void EnvelopeWriter::WriteHoisting(Frame const& frame) {
    for (std::size_t i = 0; i < frame.prefixes.size(); ++i) {
        auto const& [prefix, uri] = frame.prefixes[i];
        View const bound = m_inherited[i].second;
        if (bound.data() != nullptr && SameText(bound, uri)) {
            continue;
        }
        std::size_t const at = m_out.size();
        AppendDeclaration(prefix, uri);
        // A default namespace stays where it is: on the outermost element it would take in
        // every unqualified name of the envelope.
        if (bound.data() == nullptr && !prefix.empty() && m_depth > 1) {
            m_hoisted.append(m_out, at, WMString::npos);
            m_out.resize(at);
            auto& outer = m_frames[0].prefixes;
            ++m_generation;
            outer.emplace(std::lower_bound(outer.begin(), outer.end(), prefix,
                                           [](auto const& e, View p) { return e.first < p; }),
                          prefix, uri);
        }
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
    // The characters to escape, as bits below 64: the scan tests one bit per character and
    // copies the runs between them whole.
    constexpr std::uint64_t kBoth = std::uint64_t{1} << u'&' | std::uint64_t{1} << u'<';
    constexpr std::uint64_t kText = kBoth | std::uint64_t{1} << u'>';
    constexpr std::uint64_t kAttribute =
        kBoth | std::uint64_t{1} << u'"' | std::uint64_t{1} << u'\'';
    std::uint64_t const special =
        (attribute ? kAttribute : kText) | (m_escapeCarriageReturn ? std::uint64_t{1} << u'\r' : 0);
    WMChar const* const data = text.data();
    std::size_t const size = text.size();
    std::size_t run = 0;
    for (std::size_t i = 0; i < size; ++i) {
        WMChar const c = data[i];
        if (c >= 64 || ((special >> c) & 1) == 0) {
            continue;
        }
        m_out.append(data + run, i - run);
        switch (c) {
            case u'&':
                m_out.append(u"&amp;");
                break;
            case u'<':
                m_out.append(u"&lt;");
                break;
            case u'>':
                m_out.append(u"&gt;");
                break;
            case u'"':
                m_out.append(u"&quot;");
                break;
            case u'\'':
                m_out.append(u"&apos;");
                break;
            default:
                m_out.append(u"&#xD;");
                break;
        }
        run = i + 1;
    }
    m_out.append(data + run, size - run);
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
        ++m_entries;
    }
    return *it->second;
}

SchemaType* TypeCache::PartType(WMString const& method, WMString const& part, bool input) {
    m_key.assign(method);
    m_key.push_back(u'\0');
    m_key.append(part);
    m_key.push_back(input ? u'i' : u'o');
    auto it = m_parts.find(m_key);
    if (it == m_parts.end()) {
        WMString typeName;
        WMString typeNS;
        bool const found = input ? m_wsdl.GetInputMsgPartType(method, part, typeName, typeNS)
                                 : m_wsdl.GetOutputMsgPartType(method, part, typeName, typeNS);
        // Type() reuses the key, so the part's entry is made from a copy taken before.
        WMString key = m_key;
        SchemaType* type = found ? &Type(typeName, typeNS) : nullptr;
        it = m_parts.emplace(std::move(key), type).first;
        ++m_entries;
    }
    return it->second;
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
    ++m_entries;
    return type.members.back()->known ? type.members.back().get() : nullptr;
}

SchemaType& TypeCache::TypeOf(SchemaType::Member& member) {
    if (member.type == nullptr) {
        member.type = &Type(member.typeName, member.typeNS);
    }
    return *member.type;
}

WMString const& TypeCache::Keep(WMString text) {
    return m_kept.emplace_back(std::move(text));
}

SchemaType& TypeCache::ItemOf(SchemaType& array) {
    if (array.item == nullptr) {
        array.item = &Type(array.itemName, array.itemNS);
    }
    return *array.item;
}

}  // namespace corvane::detail
