#include "wsdl/queries.h"

namespace corvane::detail {

const WMSchemaElemHandler* FindGlobalElement(const WMDefinitionsHandler& defs, const QName& name) {
    const WMSchemaHandler* schema = defs.GetTypes().FindSchema(name.ns);
    return schema ? schema->FindElement(name.local, name.ns) : nullptr;
}

const WMSchemaComplexTypeHandler* FindComplexType(const WMDefinitionsHandler& defs,
                                                  WStringView local, WStringView ns) {
    const WMSchemaHandler* schema = defs.GetTypes().FindSchema(ns);
    return schema ? schema->FindComplexType(local, ns) : nullptr;
}

const QName* ElementType(const WMDefinitionsHandler& defs, const WMSchemaElemHandler* element) {
    for (int i = 0; element && i < kMaxChain; ++i) {
        if (!element->IsRef()) {
            return &element->GetType();
        }
        element = FindGlobalElement(defs, element->GetType());
    }
    return nullptr;
}

bool PartType(const WMDefinitionsHandler& defs, const WMMessagePartHandler* part,
              WMString& typeName, WMString& typeNS) {
    if (!part) {
        return false;
    }
    if (!part->GetType().local.empty()) {
        typeName = part->GetType().local;
        typeNS = part->GetType().ns;
        return true;
    }
    const WMSchemaElemHandler* element = FindGlobalElement(defs, part->GetElement());
    if (!element || element->GetType().local.empty()) {
        return false;
    }
    typeName = element->GetType().local;
    typeNS = element->GetType().ns;
    return true;
}

bool MessagePartType(const WMDefinitionsHandler& defs, const WMMessageHandler* message,
                     const WMString& part, WMString& typeName, WMString& typeNS) {
    return message && PartType(defs, corvane::FindIn(message->GetParts(), part), typeName, typeNS);
}

void MemberSequenceList::PushFront(const WMSequenceHandler* sequence) {
    if (m_first > 0) {
        m_items[--m_first] = sequence;
    }
}

// An extension adds its elements after those of its base (the order of an instance of the
// derived type); a restriction restates the content, so its sequence stands alone.
MemberSequenceList MemberSequences(const WMDefinitionsHandler& defs,
                                   const WMSchemaComplexTypeHandler* type) {
    MemberSequenceList sequences;
    for (int i = 0; type && i < kMaxChain; ++i) {
        const WMComplexContentHandler* content = type->GetComplexContent();
        const WMDerivationHandler* derivation = content ? content->GetDerivation() : nullptr;
        if (const WMSequenceHandler* own = type->GetEffectiveSequence()) {
            sequences.PushFront(own);
        }
        if (!derivation || !derivation->IsExtension()) {
            break;
        }
        type = FindComplexType(defs, derivation->GetBase().local, derivation->GetBase().ns);
    }
    return sequences;
}

}  // namespace corvane::detail
