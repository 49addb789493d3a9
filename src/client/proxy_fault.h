// The fault of a refused HTTP exchange, raised and caught inside the automation proxy.
#ifndef CORVANE_CLIENT_PROXY_FAULT_H
#define CORVANE_CLIENT_PROXY_FAULT_H

#include <corvane/types.h>

#include <utility>

class WMSOAPProxyFault {
public:
    WMSOAPProxyFault(WMString context, WMString message)
        : m_context(std::move(context)), m_message(std::move(message)) {}

    // "Request Message" (nothing could be sent) or "Response Message" (the answer was refused).
    WMString const& GetContext() const { return m_context; }
    WMString const& GetMessage() const { return m_message; }

private:
    WMString m_context;
    WMString m_message;
};

#endif
