#include <corvane/message.h>
#include <corvane/xml.h>

#include "soap/deserializer_impl.h"
#include "soap/message_entries.h"

#include <new>

namespace {

template <class T>
std::vector<std::unique_ptr<T>> CopyEntries(std::vector<std::unique_ptr<T>> const& from) {
    std::vector<std::unique_ptr<T>> to;
    to.reserve(from.size());
    for (auto const& entry : from) {
        to.push_back(std::make_unique<T>(*entry));
    }
    return to;
}

// The entry that a GetFirst/GetNext pair hands out next, or null past either end.
template <class T>
T* EntryAt(std::vector<std::unique_ptr<T>> const& list, long index) {
    if (index < 0 || static_cast<unsigned long>(index) >= list.size()) {
        return nullptr;
    }
    return list[static_cast<std::size_t>(index)].get();
}

template <class T>
T* FindEntry(std::vector<std::unique_ptr<T>> const& list, WMString const& ns,
             WMString const& name) {
    for (auto const& entry : list) {
        if (entry->m_ns == ns && entry->m_name == name) {
            return entry.get();
        }
    }
    return nullptr;
}

// Each Add reports an allocation failure as false rather than letting it escape.
template <class T, class... Args>
bool Append(std::vector<std::unique_ptr<T>>& list, Args const&... args) {
    try {
        list.push_back(std::make_unique<T>(args...));
    } catch (std::bad_alloc const&) {
        return false;
    }
    return true;
}

bool ReadHeader(WMSOAPHeaderMsgElement const* entry, WMString& ns, WMString& name,
                WMSOAPStructMember& value, bool& mustUnderstand, WMString& actor) {
    if (entry == nullptr) {
        return false;
    }
    ns = entry->m_ns;
    name = entry->m_name;
    value = entry->m_value;
    mustUnderstand = entry->m_mustUnderstand;
    actor = entry->m_actor;
    return true;
}

bool ReadHeaderLit(WMSOAPHeaderMsgElementLit const* entry, WMString& ns, WMString& name,
                   WMString& xml, bool& mustUnderstand, WMString& actor, WMString& encodingStyle) {
    if (entry == nullptr) {
        return false;
    }
    ns = entry->m_ns;
    name = entry->m_name;
    xml = entry->m_xml;
    mustUnderstand = entry->m_mustUnderstand;
    actor = entry->m_actor;
    encodingStyle = entry->m_encodingStyle;
    return true;
}

}  // namespace

// ---- WMSOAPFault ----

WMSOAPFault::WMSOAPFault(WMString const& faultCode, WMString const& faultString, bool needDetail,
                         WMString const& faultActor, WMString const& faultDetail)
    : m_faultCode(faultCode),
      m_faultString(faultString),
      m_needDetail(needDetail),
      m_faultActor(faultActor),
      m_faultDetail(faultDetail) {}

WMSOAPFault::WMSOAPFault(WMSOAPFault const& other) = default;
WMSOAPFault& WMSOAPFault::operator=(WMSOAPFault const& other) = default;
WMSOAPFault::~WMSOAPFault() = default;

WMString const& WMSOAPFault::GetFaultCode() const {
    return m_faultCode;
}
WMString const& WMSOAPFault::GetFaultString() const {
    return m_faultString;
}
bool WMSOAPFault::GetNeedDetail() const {
    return m_needDetail;
}
WMString const& WMSOAPFault::GetFaultActor() const {
    return m_faultActor;
}
WMString const& WMSOAPFault::GetFaultDetail() const {
    return m_faultDetail;
}

// ---- WMXMLMessage ----

WMXMLMessage::WMXMLMessage() : m_rootElement(nullptr) {}

WMXMLMessage::WMXMLMessage(WMString const& buffer) : m_buffer(buffer), m_rootElement(nullptr) {}

WMXMLMessage::WMXMLMessage(WMXMLMessage const& other)
    : m_buffer(other.m_buffer),
      m_rootElement(other.m_rootElement ? new WMXMLElement(*other.m_rootElement) : nullptr) {}

WMXMLMessage& WMXMLMessage::operator=(WMXMLMessage const& other) {
    if (this != &other) {
        WMXMLElement* root = other.m_rootElement ? new WMXMLElement(*other.m_rootElement) : nullptr;
        m_buffer = other.m_buffer;
        SetRootElement(root);
    }
    return *this;
}

WMXMLMessage::~WMXMLMessage() {
    delete m_rootElement;
}

void WMXMLMessage::SetBuffer(WMString const& buffer) {
    m_buffer = buffer;
}
WMString const* WMXMLMessage::GetBufferPtr() {
    return &m_buffer;
}
unsigned long WMXMLMessage::GetBufferLength() {
    return m_buffer.size();
}

void WMXMLMessage::SetRootElement(WMXMLElement* root) {
    if (root != m_rootElement) {
        delete m_rootElement;
        m_rootElement = root;
    }
}

WMXMLElement* WMXMLMessage::DetachRootElement() {
    WMXMLElement* root = m_rootElement;
    m_rootElement = nullptr;
    return root;
}

// ---- WMSOAPMessage: set-up ----

WMSOAPMessage::WMSOAPMessage()
    : m_faultNeedDetail(false),
      m_isSOAPFault(false),
      m_isLocalFault(true),
      m_isLiteralFault(false),
      m_reqDeserializer(nullptr, nullptr),
      m_respDeserializer(nullptr, nullptr),
      m_explicitTyping(false),
      m_requestPhase(false) {}

WMSOAPMessage::WMSOAPMessage(WMSOAPMessage const& other)
    : WMXMLMessage(other),
      m_headerElems(CopyEntries(other.m_headerElems)),
      m_headerElemsLit(CopyEntries(other.m_headerElemsLit)),
      m_bodyElemLit(other.m_bodyElemLit
                        ? std::make_unique<std::pair<WMString, WMString>>(*other.m_bodyElemLit)
                        : nullptr),
      m_methodParams(CopyEntries(other.m_methodParams)),
      m_returnValue(other.m_returnValue),
      m_retValName(other.m_retValName),
      m_methodNS(other.m_methodNS),
      m_methodName(other.m_methodName),
      m_soapAction(other.m_soapAction),
      m_faultCode(other.m_faultCode),
      m_faultString(other.m_faultString),
      m_faultActor(other.m_faultActor),
      m_faultNeedDetail(other.m_faultNeedDetail),
      m_isSOAPFault(other.m_isSOAPFault),
      m_isLocalFault(other.m_isLocalFault),
      m_isLiteralFault(other.m_isLiteralFault),
      m_faultDetailElems(CopyEntries(other.m_faultDetailElems)),
      m_faultHeaderElems(CopyEntries(other.m_faultHeaderElems)),
      m_faultHeaderElemsLit(CopyEntries(other.m_faultHeaderElemsLit)),
      m_reqDeserializer(nullptr, nullptr),
      m_respDeserializer(nullptr, nullptr),
      m_serializer(other.m_serializer),
      m_explicitTyping(other.m_explicitTyping),
      m_standardWireMode(other.m_standardWireMode),
      m_serviceName(other.m_serviceName),
      m_portName(other.m_portName),
      m_nextHopURL(other.m_nextHopURL),
      m_requestPhase(other.m_requestPhase),
      m_actorURI(other.m_actorURI) {}

WMSOAPMessage& WMSOAPMessage::operator=(WMSOAPMessage const& other) {
    if (this != &other) {
        // Copy first, then swap the state in, so a failed copy leaves this message intact.
        WMSOAPMessage copy(other);
        WMXMLMessage::operator=(other);
        m_headerElems.swap(copy.m_headerElems);
        m_headerElemsLit.swap(copy.m_headerElemsLit);
        m_bodyElemLit.swap(copy.m_bodyElemLit);
        m_methodParams.swap(copy.m_methodParams);
        m_returnValue = other.m_returnValue;
        m_retValName = other.m_retValName;
        m_methodNS = other.m_methodNS;
        m_methodName = other.m_methodName;
        m_soapAction = other.m_soapAction;
        m_faultCode = other.m_faultCode;
        m_faultString = other.m_faultString;
        m_faultActor = other.m_faultActor;
        m_faultNeedDetail = other.m_faultNeedDetail;
        m_isSOAPFault = other.m_isSOAPFault;
        m_isLocalFault = other.m_isLocalFault;
        m_isLiteralFault = other.m_isLiteralFault;
        m_faultDetailElems.swap(copy.m_faultDetailElems);
        m_faultHeaderElems.swap(copy.m_faultHeaderElems);
        m_faultHeaderElemsLit.swap(copy.m_faultHeaderElemsLit);
        m_serializer = other.m_serializer;
        m_explicitTyping = other.m_explicitTyping;
        m_standardWireMode = other.m_standardWireMode;
        m_serviceName = other.m_serviceName;
        m_portName = other.m_portName;
        m_nextHopURL = other.m_nextHopURL;
        m_requestPhase = other.m_requestPhase;
        m_actorURI = other.m_actorURI;
    }
    return *this;
}

WMSOAPMessage::~WMSOAPMessage() = default;

bool WMSOAPMessage::Initialize(WMChar* buffer, unsigned long /*length*/,
                               WMString const& serviceName, WMString const& portName,
                               WMString const& actorURI, WMString const& soapAction,
                               WMString const& nextHopURL, bool explicitTyping) {
    if (buffer != nullptr) {
        m_buffer = buffer;
    }
    m_serviceName = serviceName;
    m_portName = portName;
    m_actorURI = actorURI;
    m_soapAction = soapAction;
    m_nextHopURL = nextHopURL;
    m_explicitTyping = explicitTyping;
    m_requestPhase = true;
    return true;
}

bool WMSOAPMessage::Serialize(WMSOAPWSDLClient& wsdl) {
    m_buffer.clear();
    return m_serializer.Serialize(*this, wsdl);
}

bool corvane::detail::MessageBuilder::Serialize(WMSOAPMessage& message, TypeCache& types) {
    message.m_buffer.clear();
    return message.m_serializer.Write(message, types, nullptr);
}

bool WMSOAPMessage::IsRPCStyle() {
    return true;
}
bool WMSOAPMessage::CheckMustUnderstand() {
    return true;
}
bool WMSOAPMessage::IsDefaultActor() {
    return m_actorURI.empty();
}
bool WMSOAPMessage::IsIntermediary() {
    return !m_nextHopURL.empty();
}

// ---- plain accessors ----

WMString const& WMSOAPMessage::GetMethodNS() const {
    return m_methodNS;
}
void WMSOAPMessage::SetMethodNS(WMString const& ns) {
    m_methodNS = ns;
}
WMString const& WMSOAPMessage::GetMethodName() const {
    return m_methodName;
}
void WMSOAPMessage::SetMethodName(WMString const& name) {
    m_methodName = name;
}
WMString const& WMSOAPMessage::GetRetValName() {
    return m_retValName;
}
void WMSOAPMessage::SetRetValName(WMString const& name) {
    m_retValName = name;
}
WMString const& WMSOAPMessage::GetSOAPAction() const {
    return m_soapAction;
}
WMString const& WMSOAPMessage::GetServiceName() const {
    return m_serviceName;
}
WMString const& WMSOAPMessage::GetPortName() const {
    return m_portName;
}
WMString const& WMSOAPMessage::GetActorURI() const {
    return m_actorURI;
}
void WMSOAPMessage::SetActorURI(WMString const& actorURI) {
    m_actorURI = actorURI;
}
WMString const& WMSOAPMessage::GetNextHopURL() const {
    return m_nextHopURL;
}
void WMSOAPMessage::SetNextHopURL(WMString const& url) {
    m_nextHopURL = url;
}
bool WMSOAPMessage::IsRequestPhase() {
    return m_requestPhase;
}
void WMSOAPMessage::SetRequestPhase(bool requestPhase) {
    m_requestPhase = requestPhase;
}
bool WMSOAPMessage::UseExplicitTyping() {
    return m_explicitTyping;
}
void WMSOAPMessage::SetStandardWireMode(bool on) {
    m_standardWireMode = on;
}
bool WMSOAPMessage::GetStandardWireMode() const {
    return m_standardWireMode;
}
WMSOAPStructMember& WMSOAPMessage::GetReturnValue() {
    return m_returnValue;
}
void WMSOAPMessage::SetReturnValue(WMSOAPStructMember& value) {
    m_returnValue = value;
}

// ---- fault ----

bool WMSOAPMessage::SetSOAPFault(WMString const& code, WMString const& string,
                                 WMString const& actor, bool needDetail) {
    m_faultCode = code;
    m_faultString = string;
    m_faultActor = actor;
    m_faultNeedDetail = needDetail;
    m_isSOAPFault = true;
    m_isLiteralFault = false;
    return true;
}

bool WMSOAPMessage::SetSOAPFaultLit(WMString const& xml, WMString const& encodingStyle) {
    if (!SetBodyElemLit(xml, encodingStyle)) {
        return false;
    }
    m_isSOAPFault = true;
    m_isLiteralFault = true;
    return true;
}

void WMSOAPMessage::ClearSOAPFault() {
    ClearFaultHeaderElems();
    ClearFaultDetailElems();
    m_faultCode.clear();
    m_faultString.clear();
    m_faultActor.clear();
    m_faultNeedDetail = false;
    m_isSOAPFault = false;
    m_isLiteralFault = false;
    m_isLocalFault = true;
}

bool WMSOAPMessage::IsSOAPFault() {
    return m_isSOAPFault;
}
bool WMSOAPMessage::IsLocalFault() {
    return m_isLocalFault;
}
void WMSOAPMessage::SetLocalFaultFlag(bool local) {
    m_isLocalFault = local;
}
bool WMSOAPMessage::IsLiteralFault() {
    return m_isLiteralFault;
}
WMString const& WMSOAPMessage::GetSOAPFaultCode() {
    return m_faultCode;
}
WMString const& WMSOAPMessage::GetSOAPFaultString() {
    return m_faultString;
}
WMString const& WMSOAPMessage::GetSOAPFaultActor() {
    return m_faultActor;
}
bool WMSOAPMessage::GetSOAPFaultNeedDetail() {
    return m_faultNeedDetail;
}
void WMSOAPMessage::SetSOAPFaultNeedDetail(bool needDetail) {
    m_faultNeedDetail = needDetail;
}

// ---- header entries ----

bool WMSOAPMessage::AddHeaderElem(WMString const& ns, WMString const& name, bool mustUnderstand,
                                  WMSOAPStructMember& value, WMString const& actor) {
    return Append(m_headerElems, ns, name, value, mustUnderstand, actor);
}

bool WMSOAPMessage::GetFirstHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                       bool& mustUnderstand, WMString& actor, long& position) {
    if (!ReadHeader(EntryAt(m_headerElems, 0), ns, name, value, mustUnderstand, actor)) {
        return false;
    }
    position = 0;
    return true;
}

bool WMSOAPMessage::GetNextHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                      bool& mustUnderstand, WMString& actor, long& position) {
    if (!ReadHeader(EntryAt(m_headerElems, position + 1), ns, name, value, mustUnderstand, actor)) {
        return false;
    }
    ++position;
    return true;
}

bool WMSOAPMessage::GetHeaderElem(WMString const& ns, WMString const& name,
                                  WMSOAPStructMember& value) {
    WMSOAPHeaderMsgElement const* entry = FindEntry(m_headerElems, ns, name);
    if (entry == nullptr) {
        return false;
    }
    value = entry->m_value;
    return true;
}

int WMSOAPMessage::GetNumHeaderElems() {
    return static_cast<int>(m_headerElems.size());
}

void WMSOAPMessage::ClearHeaderElems() {
    m_headerElems.clear();
    m_headerElemsLit.clear();
}

bool WMSOAPMessage::AddHeaderElemLit(WMString const& ns, WMString const& name, WMString const& xml,
                                     bool mustUnderstand, WMString const& actor,
                                     WMString const& encodingStyle) {
    return Append(m_headerElemsLit, ns, name, xml, mustUnderstand, actor, encodingStyle);
}

bool WMSOAPMessage::GetFirstHeaderElemLit(WMString& ns, WMString& name, WMString& xml,
                                          bool& mustUnderstand, WMString& actor,
                                          WMString& encodingStyle, long& position) {
    if (!ReadHeaderLit(EntryAt(m_headerElemsLit, 0), ns, name, xml, mustUnderstand, actor,
                       encodingStyle)) {
        return false;
    }
    position = 0;
    return true;
}

bool WMSOAPMessage::GetNextHeaderElemLit(WMString& ns, WMString& name, WMString& xml,
                                         bool& mustUnderstand, WMString& actor,
                                         WMString& encodingStyle, long& position) {
    if (!ReadHeaderLit(EntryAt(m_headerElemsLit, position + 1), ns, name, xml, mustUnderstand,
                       actor, encodingStyle)) {
        return false;
    }
    ++position;
    return true;
}

bool WMSOAPMessage::GetHeaderElemLit(WMString const& ns, WMString const& name, WMString& xml) {
    WMSOAPHeaderMsgElementLit const* entry = FindEntry(m_headerElemsLit, ns, name);
    if (entry == nullptr) {
        return false;
    }
    xml = entry->m_xml;
    return true;
}

int WMSOAPMessage::GetNumHeaderElemsLit() {
    return static_cast<int>(m_headerElemsLit.size());
}

// ---- method parameters ----

bool WMSOAPMessage::AddMethodParam(WMString const& ns, WMString const& name,
                                   WMSOAPStructMember const& value, bool isInput, bool isOutput) {
    return Append(m_methodParams, ns, name, value, isInput, isOutput);
}

namespace {

bool ReadParam(WMSOAPParamMsgElement const* entry, WMString& ns, WMString& name,
               WMSOAPStructMember& value, bool& isInput, bool& isOutput) {
    if (entry == nullptr) {
        return false;
    }
    ns = entry->m_ns;
    name = entry->m_name;
    value = entry->m_value;
    isInput = entry->m_isInput;
    isOutput = entry->m_isOutput;
    return true;
}

}  // namespace

bool WMSOAPMessage::GetFirstMethodParam(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                        bool& isInput, bool& isOutput, long& position) {
    if (!ReadParam(EntryAt(m_methodParams, 0), ns, name, value, isInput, isOutput)) {
        return false;
    }
    position = 0;
    return true;
}

bool WMSOAPMessage::GetNextMethodParam(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                       bool& isInput, bool& isOutput, long& position) {
    if (!ReadParam(EntryAt(m_methodParams, position + 1), ns, name, value, isInput, isOutput)) {
        return false;
    }
    ++position;
    return true;
}

int WMSOAPMessage::GetNumMethodParams() {
    return static_cast<int>(m_methodParams.size());
}
void WMSOAPMessage::ClearMethodParams() {
    m_methodParams.clear();
}

// ---- fault header entries ----

bool WMSOAPMessage::AddFaultHeaderElem(WMString const& ns, WMString const& name,
                                       WMSOAPStructMember const& value, bool mustUnderstand,
                                       WMString const& actor) {
    return Append(m_faultHeaderElems, ns, name, value, mustUnderstand, actor);
}

bool WMSOAPMessage::GetFirstFaultHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                            bool& mustUnderstand, WMString& actor, long& position) {
    if (!ReadHeader(EntryAt(m_faultHeaderElems, 0), ns, name, value, mustUnderstand, actor)) {
        return false;
    }
    position = 0;
    return true;
}

bool WMSOAPMessage::GetNextFaultHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                           bool& mustUnderstand, WMString& actor, long& position) {
    if (!ReadHeader(EntryAt(m_faultHeaderElems, position + 1), ns, name, value, mustUnderstand,
                    actor)) {
        return false;
    }
    ++position;
    return true;
}

int WMSOAPMessage::GetNumFaultHeaderElems() {
    return static_cast<int>(m_faultHeaderElems.size());
}

void WMSOAPMessage::ClearFaultHeaderElems() {
    m_faultHeaderElems.clear();
    m_faultHeaderElemsLit.clear();
}

bool WMSOAPMessage::AddFaultHeaderElemLit(WMString const& ns, WMString const& name,
                                          WMString const& xml, bool mustUnderstand,
                                          WMString const& actor, WMString const& encodingStyle) {
    return Append(m_faultHeaderElemsLit, ns, name, xml, mustUnderstand, actor, encodingStyle);
}

bool WMSOAPMessage::GetFirstFaultHeaderElemLit(WMString& ns, WMString& name, WMString& xml,
                                               bool& mustUnderstand, WMString& actor,
                                               WMString& encodingStyle, long& position) {
    if (!ReadHeaderLit(EntryAt(m_faultHeaderElemsLit, 0), ns, name, xml, mustUnderstand, actor,
                       encodingStyle)) {
        return false;
    }
    position = 0;
    return true;
}

bool WMSOAPMessage::GetNextFaultHeaderElemLit(WMString& ns, WMString& name, WMString& xml,
                                              bool& mustUnderstand, WMString& actor,
                                              WMString& encodingStyle, long& position) {
    if (!ReadHeaderLit(EntryAt(m_faultHeaderElemsLit, position + 1), ns, name, xml, mustUnderstand,
                       actor, encodingStyle)) {
        return false;
    }
    ++position;
    return true;
}

int WMSOAPMessage::GetNumFaultHeaderElemsLit() {
    return static_cast<int>(m_faultHeaderElemsLit.size());
}

// ---- fault detail entries ----

bool WMSOAPMessage::AddFaultDetailElem(WMString const& ns, WMString const& name,
                                       WMSOAPStructMember const& value) {
    return Append(m_faultDetailElems, ns, name, value);
}

namespace {

bool ReadDetail(WMXMLMessageElement const* entry, WMString& ns, WMString& name,
                WMSOAPStructMember& value) {
    if (entry == nullptr) {
        return false;
    }
    ns = entry->m_ns;
    name = entry->m_name;
    value = entry->m_value;
    return true;
}

}  // namespace

bool WMSOAPMessage::GetFirstFaultDetailElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                            long& position) {
    if (!ReadDetail(EntryAt(m_faultDetailElems, 0), ns, name, value)) {
        return false;
    }
    position = 0;
    return true;
}

bool WMSOAPMessage::GetNextFaultDetailElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                           long& position) {
    if (!ReadDetail(EntryAt(m_faultDetailElems, position + 1), ns, name, value)) {
        return false;
    }
    ++position;
    return true;
}

bool WMSOAPMessage::GetFaultDetailElem(WMString const& ns, WMString const& name,
                                       WMSOAPStructMember& value) {
    WMXMLMessageElement const* entry = FindEntry(m_faultDetailElems, ns, name);
    if (entry == nullptr) {
        return false;
    }
    value = entry->m_value;
    return true;
}

int WMSOAPMessage::GetNumFaultDetailElems() {
    return static_cast<int>(m_faultDetailElems.size());
}
void WMSOAPMessage::ClearFaultDetailElems() {
    m_faultDetailElems.clear();
}

// ---- literal body ----

bool WMSOAPMessage::SetBodyElemLit(WMString const& xml, WMString const& encodingStyle) {
    try {
        m_bodyElemLit = std::make_unique<std::pair<WMString, WMString>>(encodingStyle, xml);
    } catch (std::bad_alloc const&) {
        return false;
    }
    return true;
}

bool WMSOAPMessage::GetBodyElemLit(WMString& xml) {
    if (!m_bodyElemLit) {
        return false;
    }
    xml = m_bodyElemLit->second;
    return true;
}
