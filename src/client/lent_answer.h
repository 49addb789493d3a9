// The client's side of the answer its proxy lends the message (see ProxyState::loan).
#ifndef CORVANE_CLIENT_LENT_ANSWER_H
#define CORVANE_CLIENT_LENT_ANSWER_H

#include <corvane/message.h>

#include <memory>

#include "client/proxy_state.h"
#include "soap/deserializer_impl.h"

namespace corvane::detail {

// Asks for the loan of the next exchange's answer.
inline void AskForAnswer(std::unique_ptr<ProxyState>& state) {
    if (!state) {
        state = std::make_unique<ProxyState>();
    }
    state->loan = ProxyState::AnswerLoan::kAsked;
}

// After an exchange the proxy keeps the answer for GetXMLIn and the message holds it to be
// read. Where the proxy lent the message a large answer's text rather than a copy, the message
// hands it back when the call ends (moved: views into it stay valid).
class LentAnswer {
public:
    LentAnswer(WMString& kept, WMSOAPMessage& message, std::unique_ptr<ProxyState> const& state)
        : m_kept(kept),
          m_message(message),
          m_lent(state && state->loan == ProxyState::AnswerLoan::kLent) {}
    LentAnswer(LentAnswer const&) = delete;
    LentAnswer& operator=(LentAnswer const&) = delete;
    // Only a large answer is lent.
    bool Large() const { return m_lent; }
    ~LentAnswer() {
        if (m_lent) {
            m_kept = MessageBuilder::TakeBuffer(m_message);
        }
    }

private:
    WMString& m_kept;
    WMSOAPMessage& m_message;
    bool m_lent;
};

}  // namespace corvane::detail

#endif
