// The value model: a named, optionally namespace-qualified value (WMSOAPStructMember) of one of
// five kinds, and the struct (WMSOAPStructType), an ordered sequence of members.
//
// Every store and every read is a deep copy. Setting a value writes the kind and that one slot
// and leaves the other slots as they were; readers look only at the slot the kind names.
//
// Integers. The long slot is a signed 32-bit integer (std::int32_t). So that natural calls pick
// the long kind, every integer type is accepted where a long is: `SetValue(5)`,
// `SetValue(5L)`, `SetMember(u"n", count)` with a long, size_t or unsigned count all store a
// long, converted as static_cast<std::int32_t>(value) converts (values outside the 32-bit range
// wrap; pass a double for larger numbers). Floating-point arguments pick the double kind, and a
// string literal (`u"text"`) picks the string kind.
#ifndef CORVANE_VALUES_H
#define CORVANE_VALUES_H

#include <corvane/types.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

class WMSOAPStructMember;

namespace corvane::detail {
// The deserializers' access for moving freshly read values into place (internal, not exported).
struct ValueBuilder;

// Integer types other than std::int32_t itself, which the exported overloads take directly.
template <typename T>
using IfOtherInteger =
    std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, std::int32_t>, int>;
}  // namespace corvane::detail

// A struct: members in insertion order, duplicate names allowed.
class CORVANE_API WMSOAPStructType {
public:
    WMSOAPStructType();
    WMSOAPStructType(WMSOAPStructType const& other);
    WMSOAPStructType& operator=(WMSOAPStructType const& other);
    // Moves transfer the members (and let containers of structs grow without deep copies); a
    // moved-from struct is left valid and empty.
    WMSOAPStructType(WMSOAPStructType&& other) noexcept;
    WMSOAPStructType& operator=(WMSOAPStructType&& other) noexcept;
    virtual ~WMSOAPStructType();

    // Every form appends, even when a member of the same name exists: repeated elements are
    // built this way. All return true.
    bool SetMember(WMSOAPStructMember const& member);
    bool SetMember(WMString name, std::int32_t value);
    bool SetMember(WMString name, double value);
    bool SetMember(WMString name, WMString const& value);
    bool SetMember(WMString name, std::vector<WMSOAPStructType> const& value);
    bool SetMember(WMString name, WMSOAPStructType const& value);
    template <typename T, corvane::detail::IfOtherInteger<T> = 0>
    bool SetMember(WMString name, T value) {
        return SetMember(std::move(name), static_cast<std::int32_t>(value));
    }

    bool SetMemberQN(WMSOAPStructMember const& member);
    bool SetMemberQN(WMString name, WMString ns, std::int32_t value);
    bool SetMemberQN(WMString name, WMString ns, double value);
    bool SetMemberQN(WMString name, WMString ns, WMString const& value);
    bool SetMemberQN(WMString name, WMString ns, std::vector<WMSOAPStructType> const& value);
    bool SetMemberQN(WMString name, WMString ns, WMSOAPStructType const& value);
    template <typename T, corvane::detail::IfOtherInteger<T> = 0>
    bool SetMemberQN(WMString name, WMString ns, T value) {
        return SetMemberQN(std::move(name), std::move(ns), static_cast<std::int32_t>(value));
    }

    // The first member of that name (whatever its namespace), or of that name and namespace;
    // `member` is untouched when there is none.
    bool GetMember(WMString name, WMSOAPStructMember& member) const;
    bool GetMemberQN(WMString name, WMString ns, WMSOAPStructMember& member) const;

    // Iteration by position, the index of the member last returned: GetFirst sets it to 0 and
    // each GetNext returns the member after it (position -1 gives the first). At the end, or
    // for a position outside the struct, the result is false and nothing is written. Each call
    // costs constant time plus the copy of the member. A null name or namespace pointer is
    // skipped; GetNext with a null position returns false.
    bool GetFirstMember(WMString* name, WMSOAPStructMember& member, long* position) const;
    bool GetNextMember(WMString* name, WMSOAPStructMember& member, long* position) const;
    bool GetFirstMemberQN(WMString* name, WMString* ns, WMSOAPStructMember& member,
                          long* position) const;
    bool GetNextMemberQN(WMString* name, WMString* ns, WMSOAPStructMember& member,
                         long* position) const;

private:
    friend struct corvane::detail::ValueBuilder;

    // A vector rather than a linked list: the position is an index, so each step of an
    // iteration is one lookup; appending is amortized constant and members move, not copy,
    // when the storage grows.
    std::vector<WMSOAPStructMember> members_;
};

class CORVANE_API WMSOAPStructMember {
public:
    struct SOAPDataMember {
        enum DATATYPE : std::int32_t {
            SOAP_NONE = 0,  // no value: written as nil
            SOAP_LONG = 1,
            SOAP_DOUBLE = 2,
            SOAP_STRING = 3,
            SOAP_STRUCT = 4,
            SOAP_ARRAY = 5,
        };

        // Side by side, not a union: a value of one kind leaves the other slots as they were.
        DATATYPE dataType = SOAP_NONE;
        std::int32_t longValue = 0;
        double doubleValue = 0.0;
        WMString stringValue;
        std::vector<WMSOAPStructType> arrayValue;  // one struct per array element
        WMSOAPStructType structValue;
    };

    // A nil member: no name, no namespace, kind SOAP_NONE, numeric slots 0.
    WMSOAPStructMember();
    WMSOAPStructMember(WMString name, std::int32_t value);
    WMSOAPStructMember(WMString name, double value);
    WMSOAPStructMember(WMString name, WMString const& value);
    WMSOAPStructMember(WMString name, WMSOAPStructType const& value);
    WMSOAPStructMember(WMString name, std::vector<WMSOAPStructType> const& value);
    WMSOAPStructMember(WMString name, WMString ns, std::int32_t value);
    WMSOAPStructMember(WMString name, WMString ns, double value);
    WMSOAPStructMember(WMString name, WMString ns, WMString const& value);
    WMSOAPStructMember(WMString name, WMString ns, WMSOAPStructType const& value);
    WMSOAPStructMember(WMString name, WMString ns, std::vector<WMSOAPStructType> const& value);
    template <typename T, corvane::detail::IfOtherInteger<T> = 0>
    WMSOAPStructMember(WMString name, T value)
        : WMSOAPStructMember(std::move(name), static_cast<std::int32_t>(value)) {}
    template <typename T, corvane::detail::IfOtherInteger<T> = 0>
    WMSOAPStructMember(WMString name, WMString ns, T value)
        : WMSOAPStructMember(std::move(name), std::move(ns), static_cast<std::int32_t>(value)) {}

    // Copies name, namespace and every slot, the stale ones included.
    WMSOAPStructMember(WMSOAPStructMember const& other);
    WMSOAPStructMember& operator=(WMSOAPStructMember const& other);
    // Moves transfer every slot; a moved-from member is left valid, to be assigned before use.
    WMSOAPStructMember(WMSOAPStructMember&& other) noexcept;
    WMSOAPStructMember& operator=(WMSOAPStructMember&& other) noexcept;
    ~WMSOAPStructMember();

    WMString const& GetName() const;
    WMString const& GetNS() const;
    void SetName(WMString const& name);
    void SetNS(WMString const& ns);

    SOAPDataMember::DATATYPE GetDataType();

    // Each returns its slot whatever the kind is.
    std::int32_t LongValue() const;
    double DoubleValue() const;
    WMString const& StringValue() const;
    WMSOAPStructType const& StructValue() const;
    std::vector<WMSOAPStructType>& ArrayValue();
    std::vector<WMSOAPStructType> const& ArrayValue() const;

    void SetValue(std::int32_t value);
    void SetValue(double value);
    void SetValue(WMString const& value);
    void SetValue(WMSOAPStructType const& value);
    void SetValue(std::vector<WMSOAPStructType> const& value);
    template <typename T, corvane::detail::IfOtherInteger<T> = 0>
    void SetValue(T value) {
        SetValue(static_cast<std::int32_t>(value));
    }

private:
    friend struct corvane::detail::ValueBuilder;

    WMString name_;
    WMString ns_;
    SOAPDataMember value_;
};

#endif
