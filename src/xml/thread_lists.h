// Working lists a thread keeps from one read to the next: a small message would otherwise spend
// a good part of its read growing them anew. A read started while another runs on the same
// thread (from an event) makes lists of its own.
#ifndef CORVANE_XML_THREAD_LISTS_H
#define CORVANE_XML_THREAD_LISTS_H

#include <cstddef>

namespace corvane {
namespace detail {

// Lists that a large or deep message grew past this many entries go back to the system.
constexpr std::size_t kKeptEntries = 1024;

// The thread's spare `Lists` (a struct with a `bool lent`), marked lent; nullptr while another
// read on this thread holds them. The borrower clears `lent` when it gives them back.
template <class Lists>
Lists* BorrowThreadLists() {
    thread_local Lists lists;
    if (lists.lent) {
        return nullptr;
    }
    lists.lent = true;
    return &lists;
}

// Empties a list for the next read, keeping its room unless it grew past kKeptEntries.
template <class List>
void EmptyKept(List& list) {
    if (list.capacity() > kKeptEntries) {
        List().swap(list);
    } else {
        list.clear();
    }
}

}  // namespace detail
}  // namespace corvane

#endif
