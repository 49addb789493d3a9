// Entries of the lists inside a SOAP message. Internal: the message creates and deletes them.
#ifndef CORVANE_SOAP_MESSAGE_ENTRIES_H
#define CORVANE_SOAP_MESSAGE_ENTRIES_H

#include <corvane/values.h>

class WMXMLMessageElement {
public:
    WMXMLMessageElement(WMString const& ns, WMString const& name, WMSOAPStructMember const& value)
        : m_ns(ns), m_name(name), m_value(value) {}
    virtual ~WMXMLMessageElement() = default;

    WMString m_ns;
    WMString m_name;
    WMSOAPStructMember m_value;
};

// Encoded header entries, of a request, a response or a fault.
class WMSOAPHeaderMsgElement : public WMXMLMessageElement {
public:
    WMSOAPHeaderMsgElement(WMString const& ns, WMString const& name,
                           WMSOAPStructMember const& value, bool mustUnderstand,
                           WMString const& actor)
        : WMXMLMessageElement(ns, name, value), m_mustUnderstand(mustUnderstand), m_actor(actor) {}

    bool m_mustUnderstand;
    WMString m_actor;
};

class WMSOAPParamMsgElement : public WMXMLMessageElement {
public:
    WMSOAPParamMsgElement(WMString const& ns, WMString const& name, WMSOAPStructMember const& value,
                          bool isInput, bool isOutput)
        : WMXMLMessageElement(ns, name, value), m_isInput(isInput), m_isOutput(isOutput) {}

    bool m_isInput;
    bool m_isOutput;
};

// A header entry kept as XML text; the value of the base is not used.
class WMSOAPHeaderMsgElementLit : public WMXMLMessageElement {
public:
    WMSOAPHeaderMsgElementLit(WMString const& ns, WMString const& name, WMString const& xml,
                              bool mustUnderstand, WMString const& actor,
                              WMString const& encodingStyle)
        : WMXMLMessageElement(ns, name, WMSOAPStructMember()),
          m_mustUnderstand(mustUnderstand),
          m_actor(actor),
          m_encodingStyle(encodingStyle),
          m_xml(xml) {}

    bool m_mustUnderstand;
    WMString m_actor;
    WMString m_encodingStyle;
    WMString m_xml;
};

#endif
