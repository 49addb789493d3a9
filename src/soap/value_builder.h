// Moves freshly read values into their place. The exported setters copy, as the value model
// promises its callers; a value that the deserializer has just built is never looked at again,
// so moving it observes the same and saves a deep copy at every level of nesting.
#ifndef CORVANE_SOAP_VALUE_BUILDER_H
#define CORVANE_SOAP_VALUE_BUILDER_H

#include <corvane/values.h>

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::detail {

struct ValueBuilder {
    using DataType = WMSOAPStructMember::SOAPDataMember;

    // The number of members, without copying them (the serializer's array sizes).
    static std::size_t Size(WMSOAPStructType const& target) { return target.members_.size(); }
    // The members in order, as GetFirstMember and GetNextMember hand them out, without copies.
    static std::vector<WMSOAPStructMember> const& Members(WMSOAPStructType const& target) {
        return target.members_;
    }
    static void Reserve(WMSOAPStructType& target, std::size_t count) {
        target.members_.reserve(count);
    }
    // As SetMember and SetMemberQN: appends, whatever the names already present.
    static void Append(WMSOAPStructType& target, WMSOAPStructMember&& member) {
        target.members_.push_back(std::move(member));
    }
    // Appends an empty member to be read into in place, which saves moving a finished one in;
    // the reference holds until the next append to `target`.
    static WMSOAPStructMember& AppendNew(WMSOAPStructType& target) {
        return target.members_.emplace_back();
    }
    // As SetValue: the kind and that one slot change.
    static void SetStruct(WMSOAPStructMember& target, WMSOAPStructType&& value) {
        target.value_.dataType = DataType::SOAP_STRUCT;
        target.value_.structValue = std::move(value);
    }
    static void SetArray(WMSOAPStructMember& target, std::vector<WMSOAPStructType>&& value) {
        target.value_.dataType = DataType::SOAP_ARRAY;
        target.value_.arrayValue = std::move(value);
    }
    // As SetValue, SetName and SetNS, from a text that need not be a WMString first.
    static void SetString(WMSOAPStructMember& target, std::u16string_view value) {
        target.value_.dataType = DataType::SOAP_STRING;
        Assign(target.value_.stringValue, value);
    }
    static void SetName(WMSOAPStructMember& target, std::u16string_view name) {
        Assign(target.name_, name);
    }
    static void SetNS(WMSOAPStructMember& target, std::u16string_view ns) {
        Assign(target.ns_, ns);
    }
    // In-place access for the writers, which walk a caller's values without copying them.
    static DataType& Data(WMSOAPStructMember& target) { return target.value_; }
    static std::vector<WMSOAPStructMember>& Members(WMSOAPStructType& target) {
        return target.members_;
    }

private:
    // A fresh value's strings are empty: building the text and moving it in is cheaper than the
    // general replace that assign does.
    static void Assign(WMString& target, std::u16string_view text) {
        if (target.empty()) {
            if (text.empty()) {
                return;  // most namespaces of members
            }
            target = WMString(text);
        } else {
            target.assign(text);
        }
    }
};

}  // namespace corvane::detail

#endif
