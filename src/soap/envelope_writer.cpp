#include "soap/envelope_writer.h"

#include <corvane/wsdl.h>
#include <corvane/xml.h>

#include <algorithm>

namespace corvane::detail {

void EnvelopeWriter::Open(std::u16string_view prefix, std::u16string_view local) {
    if (m_depth > 0 && !Top().tagWritten) {
        WriteStartTag();
    }
    if (m_depth == m_frames.size()) {
        m_frames.emplace_back();
    }
    ++m_depth;
    Frame& frame = Top();
    frame.qualifiedName.assign(prefix);
    if (!prefix.empty()) {
        frame.qualifiedName.push_back(u':');
    }
    frame.qualifiedName.append(local);
    frame.prefixCount = 0;
    frame.attributeCount = 0;
    frame.tagWritten = false;
}

bool EnvelopeWriter::DeclarePrefix(std::u16string_view prefix, std::u16string_view uri) {
    Frame& frame = Top();
    auto begin = frame.prefixes.begin();
    auto end = begin + static_cast<std::ptrdiff_t>(frame.prefixCount);
    auto at = std::lower_bound(begin, end, prefix, [](auto const& entry, std::u16string_view p) {
        return std::u16string_view(entry.first) < p;
    });
    if (at != end && at->first == prefix) {
        return false;
    }
    // Reuse the strings of a slot left by an earlier element, then rotate it into place.
    auto const index = at - begin;
    if (frame.prefixCount == frame.prefixes.size()) {
        frame.prefixes.emplace_back();
    }
    auto slot = frame.prefixes.begin() + static_cast<std::ptrdiff_t>(frame.prefixCount);
    slot->first.assign(prefix);
    slot->second.assign(uri);
    std::rotate(frame.prefixes.begin() + index, slot, slot + 1);
    ++frame.prefixCount;
    return true;
}

bool EnvelopeWriter::SetAttribute(std::u16string_view prefix, std::u16string_view local,
                                  std::u16string_view uri, std::u16string_view value) {
    Frame& frame = Top();
    for (std::size_t i = 0; i < frame.prefixCount; ++i) {
        if (frame.prefixes[i].first == prefix && frame.prefixes[i].second != uri) {
            return false;
        }
    }
    for (std::size_t i = 0; i < frame.attributeCount; ++i) {
        WMString const& key = frame.attributes[i].key;
        if (key.size() == uri.size() + local.size() &&
            std::u16string_view(key).substr(0, uri.size()) == uri &&
            std::u16string_view(key).substr(uri.size()) == local) {
            return false;
        }
    }
    DeclarePrefix(prefix, uri);
    if (frame.attributeCount == frame.attributes.size()) {
        frame.attributes.emplace_back();
    }
    Attribute& attribute = frame.attributes[frame.attributeCount++];
    attribute.key.assign(uri);
    attribute.key.append(local);
    attribute.qualifiedName.assign(prefix);
    attribute.qualifiedName.push_back(u':');
    attribute.qualifiedName.append(local);
    attribute.value.assign(value);
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
    if (frame.prefixCount == 0) {
        element.Serialize(nullptr, m_out);
        return;
    }
    WMXMLElement parent(frame.qualifiedName);
    for (std::size_t i = 0; i < frame.prefixCount; ++i) {
        parent.SetNSPrefix(frame.prefixes[i].first, frame.prefixes[i].second);
    }
    element.Serialize(&parent, m_out);
}

void EnvelopeWriter::Close() {
    Frame& frame = Top();
    if (frame.tagWritten) {
        m_out.append(u"</");
        m_out.append(frame.qualifiedName);
        m_out.push_back(u'>');
    } else {
        WriteTagBody(frame);
        m_out.append(u" />");
    }
    --m_depth;
}

void EnvelopeWriter::WriteStartTag() {
    Frame& frame = Top();
    WriteTagBody(frame);
    m_out.push_back(u'>');
    frame.tagWritten = true;
}

void EnvelopeWriter::WriteTagBody(Frame& frame) {
    m_out.push_back(u'<');
    m_out.append(frame.qualifiedName);
    auto first = frame.attributes.begin();
    auto last = first + static_cast<std::ptrdiff_t>(frame.attributeCount);
    std::sort(first, last, [](Attribute const& a, Attribute const& b) { return a.key < b.key; });
    for (auto it = first; it != last; ++it) {
        m_out.push_back(u' ');
        m_out.append(it->qualifiedName);
        m_out.append(u"=\"");
        AppendEscaped(it->value, true);
        m_out.push_back(u'"');
    }
    Frame const* parent = m_depth > 1 ? &m_frames[m_depth - 2] : nullptr;
    for (std::size_t i = 0; i < frame.prefixCount; ++i) {
        auto const& [prefix, uri] = frame.prefixes[i];
        if (parent != nullptr) {
            bool alike = false;
            for (std::size_t j = 0; j < parent->prefixCount && !alike; ++j) {
                alike = parent->prefixes[j].first == prefix && parent->prefixes[j].second == uri;
            }
            if (alike) {
                continue;
            }
        }
        m_out.append(prefix.empty() ? u" xmlns" : u" xmlns:");
        m_out.append(prefix);
        m_out.append(u"=\"");
        AppendEscaped(uri, true);
        m_out.push_back(u'"');
    }
}

void EnvelopeWriter::AppendEscaped(std::u16string_view text, bool attribute) {
    std::size_t run = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::u16string_view entity;
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

WMString const& TypeCache::Key(std::initializer_list<std::u16string_view> parts) {
    // U+0000 cannot occur in a name read from a document, so it separates the parts.
    m_key.clear();
    for (std::u16string_view part : parts) {
        m_key.append(part);
        m_key.push_back(u'\0');
    }
    return m_key;
}

TypeCache::QName const* TypeCache::ComplexBase(WMString const& typeName, WMString const& typeNS) {
    WMString const& key = Key({typeName, typeNS});
    auto it = m_bases.find(key);
    if (it == m_bases.end()) {
        Slot<QName> slot;
        slot.found = m_wsdl.GetComplexBaseType(typeName, typeNS, slot.value.name, slot.value.ns);
        it = m_bases.emplace(key, std::move(slot)).first;
    }
    return it->second.found ? &it->second.value : nullptr;
}

TypeCache::QName const* TypeCache::StructMemberType(WMString const& typeName,
                                                    WMString const& typeNS,
                                                    WMString const& memberName,
                                                    WMString const& memberNS) {
    WMString const& key = Key({typeName, typeNS, memberName, memberNS});
    auto it = m_members.find(key);
    if (it == m_members.end()) {
        Slot<QName> slot;
        slot.found = m_wsdl.GetStructMemberType(typeName, typeNS, memberName, memberNS,
                                                slot.value.name, slot.value.ns);
        it = m_members.emplace(key, std::move(slot)).first;
    }
    return it->second.found ? &it->second.value : nullptr;
}

TypeCache::ArrayInfo const* TypeCache::Array(WMString const& typeName, WMString const& typeNS) {
    WMString const& key = Key({typeName, typeNS});
    auto it = m_arrays.find(key);
    if (it == m_arrays.end()) {
        Slot<ArrayInfo> slot;
        slot.found =
            m_wsdl.GetArrayType(typeName, typeNS, slot.value.item.name, slot.value.item.ns) &&
            m_wsdl.GetArrayDims(typeName, typeNS, slot.value.dims);
        it = m_arrays.emplace(key, std::move(slot)).first;
    }
    return it->second.found ? &it->second.value : nullptr;
}

}  // namespace corvane::detail
