// The value model: typed members and structs, copied deeply on every store and read.
#include <corvane/values.h>

#include <utility>

// ---- WMSOAPStructMember

WMSOAPStructMember::WMSOAPStructMember() = default;

WMSOAPStructMember::WMSOAPStructMember(WMString name, std::int32_t value) : name_(std::move(name)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, double value) : name_(std::move(name)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, WMString const& value)
    : name_(std::move(name)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, WMSOAPStructType const& value)
    : name_(std::move(name)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, std::vector<WMSOAPStructType> const& value)
    : name_(std::move(name)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, WMString ns, std::int32_t value)
    : name_(std::move(name)), ns_(std::move(ns)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, WMString ns, double value)
    : name_(std::move(name)), ns_(std::move(ns)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, WMString ns, WMString const& value)
    : name_(std::move(name)), ns_(std::move(ns)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, WMString ns, WMSOAPStructType const& value)
    : name_(std::move(name)), ns_(std::move(ns)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMString name, WMString ns,
                                       std::vector<WMSOAPStructType> const& value)
    : name_(std::move(name)), ns_(std::move(ns)) {
    SetValue(value);
}

WMSOAPStructMember::WMSOAPStructMember(WMSOAPStructMember const& other) = default;
WMSOAPStructMember& WMSOAPStructMember::operator=(WMSOAPStructMember const& other) = default;
WMSOAPStructMember::WMSOAPStructMember(WMSOAPStructMember&& other) noexcept = default;
WMSOAPStructMember& WMSOAPStructMember::operator=(WMSOAPStructMember&& other) noexcept = default;
WMSOAPStructMember::~WMSOAPStructMember() = default;

WMString const& WMSOAPStructMember::GetName() const {
    return name_;
}
WMString const& WMSOAPStructMember::GetNS() const {
    return ns_;
}
void WMSOAPStructMember::SetName(WMString const& name) {
    name_ = name;
}
void WMSOAPStructMember::SetNS(WMString const& ns) {
    ns_ = ns;
}

WMSOAPStructMember::SOAPDataMember::DATATYPE WMSOAPStructMember::GetDataType() {
    return value_.dataType;
}

std::int32_t WMSOAPStructMember::LongValue() const {
    return value_.longValue;
}
double WMSOAPStructMember::DoubleValue() const {
    return value_.doubleValue;
}
WMString const& WMSOAPStructMember::StringValue() const {
    return value_.stringValue;
}
WMSOAPStructType const& WMSOAPStructMember::StructValue() const {
    return value_.structValue;
}
std::vector<WMSOAPStructType>& WMSOAPStructMember::ArrayValue() {
    return value_.arrayValue;
}
std::vector<WMSOAPStructType> const& WMSOAPStructMember::ArrayValue() const {
    return value_.arrayValue;
}

void WMSOAPStructMember::SetValue(std::int32_t value) {
    value_.dataType = SOAPDataMember::SOAP_LONG;
    value_.longValue = value;
}

void WMSOAPStructMember::SetValue(double value) {
    value_.dataType = SOAPDataMember::SOAP_DOUBLE;
    value_.doubleValue = value;
}

void WMSOAPStructMember::SetValue(WMString const& value) {
    value_.dataType = SOAPDataMember::SOAP_STRING;
    value_.stringValue = value;
}

void WMSOAPStructMember::SetValue(WMSOAPStructType const& value) {
    value_.dataType = SOAPDataMember::SOAP_STRUCT;
    value_.structValue = value;
}

void WMSOAPStructMember::SetValue(std::vector<WMSOAPStructType> const& value) {
    value_.dataType = SOAPDataMember::SOAP_ARRAY;
    value_.arrayValue = value;
}

// ---- WMSOAPStructType

WMSOAPStructType::WMSOAPStructType() = default;
WMSOAPStructType::WMSOAPStructType(WMSOAPStructType const& other) = default;
WMSOAPStructType& WMSOAPStructType::operator=(WMSOAPStructType const& other) = default;

WMSOAPStructType::WMSOAPStructType(WMSOAPStructType&& other) noexcept
    : members_(std::move(other.members_)) {
    other.members_.clear();
}

WMSOAPStructType& WMSOAPStructType::operator=(WMSOAPStructType&& other) noexcept {
    if (this != &other) {
        members_ = std::move(other.members_);
        other.members_.clear();
    }
    return *this;
}

WMSOAPStructType::~WMSOAPStructType() = default;

bool WMSOAPStructType::SetMember(WMSOAPStructMember const& member) {
    members_.push_back(member);
    return true;
}

// The value forms build the member with the matching constructor and move it in.
bool WMSOAPStructType::SetMember(WMString name, std::int32_t value) {
    members_.push_back(WMSOAPStructMember(std::move(name), value));
    return true;
}

bool WMSOAPStructType::SetMember(WMString name, double value) {
    members_.push_back(WMSOAPStructMember(std::move(name), value));
    return true;
}

bool WMSOAPStructType::SetMember(WMString name, WMString const& value) {
    members_.push_back(WMSOAPStructMember(std::move(name), value));
    return true;
}

bool WMSOAPStructType::SetMember(WMString name, std::vector<WMSOAPStructType> const& value) {
    members_.push_back(WMSOAPStructMember(std::move(name), value));
    return true;
}

bool WMSOAPStructType::SetMember(WMString name, WMSOAPStructType const& value) {
    members_.push_back(WMSOAPStructMember(std::move(name), value));
    return true;
}

bool WMSOAPStructType::SetMemberQN(WMSOAPStructMember const& member) {
    members_.push_back(member);
    return true;
}

bool WMSOAPStructType::SetMemberQN(WMString name, WMString ns, std::int32_t value) {
    members_.push_back(WMSOAPStructMember(std::move(name), std::move(ns), value));
    return true;
}

bool WMSOAPStructType::SetMemberQN(WMString name, WMString ns, double value) {
    members_.push_back(WMSOAPStructMember(std::move(name), std::move(ns), value));
    return true;
}

bool WMSOAPStructType::SetMemberQN(WMString name, WMString ns, WMString const& value) {
    members_.push_back(WMSOAPStructMember(std::move(name), std::move(ns), value));
    return true;
}

bool WMSOAPStructType::SetMemberQN(WMString name, WMString ns,
                                   std::vector<WMSOAPStructType> const& value) {
    members_.push_back(WMSOAPStructMember(std::move(name), std::move(ns), value));
    return true;
}

bool WMSOAPStructType::SetMemberQN(WMString name, WMString ns, WMSOAPStructType const& value) {
    members_.push_back(WMSOAPStructMember(std::move(name), std::move(ns), value));
    return true;
}

bool WMSOAPStructType::GetMember(WMString name, WMSOAPStructMember& member) const {
    for (auto const& candidate : members_) {
        if (candidate.GetName() == name) {
            member = candidate;
            return true;
        }
    }
    return false;
}

bool WMSOAPStructType::GetMemberQN(WMString name, WMString ns, WMSOAPStructMember& member) const {
    for (auto const& candidate : members_) {
        if (candidate.GetName() == name && candidate.GetNS() == ns) {
            member = candidate;
            return true;
        }
    }
    return false;
}

bool WMSOAPStructType::GetFirstMember(WMString* name, WMSOAPStructMember& member,
                                      long* position) const {
    return GetFirstMemberQN(name, nullptr, member, position);
}

bool WMSOAPStructType::GetNextMember(WMString* name, WMSOAPStructMember& member,
                                     long* position) const {
    return GetNextMemberQN(name, nullptr, member, position);
}

bool WMSOAPStructType::GetFirstMemberQN(WMString* name, WMString* ns, WMSOAPStructMember& member,
                                        long* position) const {
    long first = -1;
    if (!GetNextMemberQN(name, ns, member, &first)) {
        return false;
    }
    if (position != nullptr) {
        *position = first;
    }
    return true;
}

// An index the struct does not hold, below -1 included, gives false with nothing written:
// callers only pass back positions this struct handed out.
bool WMSOAPStructType::GetNextMemberQN(WMString* name, WMString* ns, WMSOAPStructMember& member,
                                       long* position) const {
    if (position == nullptr) {
        return false;
    }
    long const last = *position;
    if (last < -1 || last >= static_cast<long>(members_.size()) - 1) {
        return false;
    }
    WMSOAPStructMember const& found = members_[static_cast<std::size_t>(last + 1)];
    if (name != nullptr) {
        *name = found.GetName();
    }
    if (ns != nullptr) {
        *ns = found.GetNS();
    }
    member = found;
    *position = last + 1;
    return true;
}
