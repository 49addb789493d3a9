// Values of the document/literal extension: a WMSOAPStructMember written as an instance of a
// schema element, and an instance read back into one, both by the schema model
// (wsdl/xsd_model.h). The shapes are those of the other modes, so that a caller's code does not
// change between styles (docs/values.md):
//   simple types            the value, in the standard wire mode's forms (standard_values.h)
//   complex types           a struct, one member per child element in document order
//   repeated elements       one member holding an array (maxOccurs > 1); each array element is
//                           the item's struct (complex items) or a struct of the one item
//   attributes              members named "@" + the attribute's local name, ahead of elements
//   simple content          with attributes declared: a struct of them and a member "$" holding
//                           the content; without: the content alone
//   nil (xsi:nil="true")    no value (SOAP_NONE), for nillable elements only
//   xsd:any                 a member named like the element, its markup as a string
//
// Internal: not part of the exported interface.
#ifndef CORVANE_SOAP_LITERAL_CODEC_H
#define CORVANE_SOAP_LITERAL_CODEC_H

#include <corvane/types.h>
#include <corvane/values.h>

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "wsdl/xsd_model.h"
#include "xml/reader.h"

namespace corvane::detail {

struct LiteralLimits {
    // Occurrences of one repeated element, read or written, whatever maxOccurs allows.
    std::size_t maxOccurs = 100000;
    // Nesting of written values; the XML reader's own depth limit bounds reading.
    int maxDepth = 256;
};

// Appends instances to `out`. Namespaces not declared around the written elements (see
// InScope) are declared on the element that first needs them; unqualified elements are written
// without a prefix, so no default namespace may be in effect where they are written.
class LiteralWriter {
public:
    explicit LiteralWriter(WMString& out, LiteralLimits limits = {});

    // A prefix already declared where the elements go (the envelope's own).
    void InScope(std::u16string_view prefix, std::u16string_view uri);

    // Writes `value` as an instance of `element`. False, with nothing appended and `error`
    // naming the element, when the value does not fit the schema: a missing required member, a
    // member that is no element or attribute of the type, a value that is not of the type.
    bool Write(const xsd::Element& element, WMSOAPStructMember& value, WMString& error);
    // The same for an instance of `type` named `name` (an rpc/literal part); a null type is
    // anyType.
    bool Write(const xsd::Name& name, const xsd::Type* type, bool nillable,
               WMSOAPStructMember& value, WMString& error);

private:
    struct Impl;
    WMString& m_out;
    LiteralLimits m_limits;
    std::vector<std::pair<WMString, WMString>> m_scope;  // prefix, URI
};

// Reads instances from a document the XML reader read in tree mode.
class LiteralReader {
public:
    explicit LiteralReader(LiteralLimits limits = {}) : m_limits(limits) {}

    // Reads `node` as an instance of `element` into `value`, named and qualified like the node.
    // False, with `error` naming the element, when the instance does not fit: a missing required
    // element or attribute, an unknown one, a text that is not of its type, more occurrences than
    // allowed.
    bool Read(const XMLNode& node, const xsd::Element& element, WMSOAPStructMember& value,
              WMString& error) const;
    // The same for an instance of `type` (null: anyType), whatever the node's name.
    bool Read(const XMLNode& node, const xsd::Type* type, bool nillable, WMSOAPStructMember& value,
              WMString& error) const;

private:
    LiteralLimits m_limits;
};

}  // namespace corvane::detail

#endif
