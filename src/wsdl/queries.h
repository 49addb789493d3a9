// The lookup rules of the query layer, shared by the client queries and the tools that show
// a whole description.
#ifndef CORVANE_WSDL_QUERIES_H
#define CORVANE_WSDL_QUERIES_H

#include "wsdl/description.h"

namespace corvane::detail {

// Reference chains (a ref to an element that is itself a ref ...) and derivation chains are
// followed this far at most, so that a cyclic schema cannot loop.
constexpr int kMaxChain = 16;

const WMSchemaElemHandler* FindGlobalElement(const WMDefinitionsHandler& defs, const QName& name);
const WMSchemaComplexTypeHandler* FindComplexType(const WMDefinitionsHandler& defs,
                                                  WStringView local, WStringView ns);
// The type of an element; one declared by `ref` takes the type of the referenced element.
const QName* ElementType(const WMDefinitionsHandler& defs, const WMSchemaElemHandler* element);
// The type of a message part: its `type`, or else the type of the global element its `element`
// names (which must have a non-empty local name).
bool PartType(const WMDefinitionsHandler& defs, const WMMessagePartHandler* part,
              WMString& typeName, WMString& typeNS);
bool MessagePartType(const WMDefinitionsHandler& defs, const WMMessageHandler* message,
                     const WMString& part, WMString& typeName, WMString& typeNS);
// The sequences whose elements are the members of a struct type, base-most first. Held in place
// (a derivation chain is at most kMaxChain long), since queries ask for them constantly.
class MemberSequenceList {
public:
    void PushFront(const WMSequenceHandler* sequence);
    const WMSequenceHandler* const* begin() const { return m_items + m_first; }
    const WMSequenceHandler* const* end() const { return m_items + kMaxChain; }

private:
    const WMSequenceHandler* m_items[kMaxChain] = {};
    int m_first = kMaxChain;
};

MemberSequenceList MemberSequences(const WMDefinitionsHandler& defs,
                                   const WMSchemaComplexTypeHandler* type);

}  // namespace corvane::detail

#endif
