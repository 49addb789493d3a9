#include <corvane/values.h>

#include <gtest/gtest.h>

#include "support/values.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using Kind = WMSOAPStructMember::SOAPDataMember;

Kind::DATATYPE KindOf(WMSOAPStructMember m) {
    return m.GetDataType();
}

// What callers naturally write must pick the intended kind.
TEST(WMSOAPStructMember, NaturalArgumentsPickTheirKind) {
    EXPECT_EQ(KindOf(WMSOAPStructMember()), Kind::SOAP_NONE);
    EXPECT_EQ(WMSOAPStructMember().LongValue(), 0);
    EXPECT_EQ(WMSOAPStructMember().DoubleValue(), 0.0);
    long const l = 7;
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", 5)), Kind::SOAP_LONG);
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", l)), Kind::SOAP_LONG);
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", u"ns", 5u)), Kind::SOAP_LONG);
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", 5.0f)), Kind::SOAP_DOUBLE);
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", u"text")), Kind::SOAP_STRING);
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", u"ns", u"text")), Kind::SOAP_STRING);
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", WMSOAPStructType())), Kind::SOAP_STRUCT);
    EXPECT_EQ(KindOf(WMSOAPStructMember(u"n", std::vector<WMSOAPStructType>(2))), Kind::SOAP_ARRAY);

    WMSOAPStructMember m;
    m.SetValue(l);
    EXPECT_EQ(m.LongValue(), 7);
    m.SetValue(std::size_t{8});
    EXPECT_EQ(m.LongValue(), 8);
    m.SetValue(std::int64_t{0x100000005});  // wraps into the 32-bit slot
    EXPECT_EQ(m.LongValue(), 5);
    m.SetValue(u"x");
    EXPECT_EQ(m.GetDataType(), Kind::SOAP_STRING);

    WMSOAPStructType st;
    st.SetMember(u"a", 5);
    st.SetMember(u"b", l);
    st.SetMember(u"c", u"text");
    st.SetMember(u"d", 1.5);
    st.SetMemberQN(u"e", u"urn:x", std::size_t{3});
    st.SetMemberQN(u"f", u"urn:x", u"text");
    // Exact: a double prints in hexadecimal, so each kind shows.
    EXPECT_EQ(corvane::test::ShowStruct(st, true),
              "{a=5,b=7,c=\"text\",d=0x1.8p+0,e=3,f=\"text\"}");
}

TEST(WMSOAPStructMember, SlotsAreSideBySideAndAllCopied) {
    WMSOAPStructMember m(u"n", u"urn:ns", u"old text");
    m.SetValue(42);
    EXPECT_EQ(m.GetDataType(), Kind::SOAP_LONG);
    EXPECT_EQ(m.StringValue(), u"old text");
    m.SetValue(0.25);
    WMSOAPStructMember assigned;
    assigned = WMSOAPStructMember(m);
    EXPECT_EQ(assigned.GetDataType(), Kind::SOAP_DOUBLE);
    EXPECT_EQ(assigned.DoubleValue(), 0.25);
    EXPECT_EQ(assigned.LongValue(), 42);
    EXPECT_EQ(assigned.StringValue(), u"old text");
    EXPECT_EQ(assigned.GetNS(), u"urn:ns");
}

TEST(WMSOAPStructType, SetMemberAppendsAndLookupsTakeTheFirst) {
    WMSOAPStructType st;
    EXPECT_TRUE(st.SetMember(u"item", 1));
    EXPECT_TRUE(st.SetMemberQN(u"q", u"urn:a", 2));
    EXPECT_TRUE(st.SetMember(u"item", 3));
    EXPECT_TRUE(st.SetMember(u"q", 4));
    EXPECT_TRUE(st.SetMember(WMSOAPStructMember(u"item", u"urn:b", 5)));

    WMSOAPStructMember m;
    ASSERT_TRUE(st.GetMember(u"item", m));
    EXPECT_EQ(m.LongValue(), 1);
    ASSERT_TRUE(st.GetMember(u"q", m));  // namespace ignored
    EXPECT_EQ(m.GetNS(), u"urn:a");
    ASSERT_TRUE(st.GetMemberQN(u"q", u"", m));  // only the unqualified one
    EXPECT_EQ(m.LongValue(), 4);
    ASSERT_TRUE(st.GetMemberQN(u"item", u"urn:b", m));
    EXPECT_EQ(m.LongValue(), 5);

    WMSOAPStructMember untouched(u"keep", u"me");
    EXPECT_FALSE(st.GetMember(u"Item", untouched));  // case-sensitive
    EXPECT_FALSE(st.GetMemberQN(u"q", u"urn:b", untouched));
    EXPECT_EQ(untouched.GetName(), u"keep");
    EXPECT_EQ(untouched.StringValue(), u"me");
}

TEST(WMSOAPStructType, IterationPositions) {
    WMString name = u"unset";
    WMString ns;
    WMSOAPStructMember m(u"keep", 1);
    long position = 9;
    EXPECT_FALSE(WMSOAPStructType().GetFirstMember(&name, m, &position));
    EXPECT_FALSE(WMSOAPStructType().GetFirstMemberQN(&name, &ns, m, &position));
    EXPECT_EQ(position, 9);
    EXPECT_EQ(name, u"unset");
    EXPECT_EQ(m.GetName(), u"keep");

    WMSOAPStructType st;
    st.SetMember(u"a", 1);
    st.SetMemberQN(u"b", u"urn:b", 2);
    st.SetMember(u"c", 3);
    ASSERT_TRUE(st.GetFirstMemberQN(&name, &ns, m, &position));
    EXPECT_EQ(position, 0);
    EXPECT_EQ(name, u"a");
    EXPECT_EQ(ns, u"");
    ASSERT_TRUE(st.GetNextMemberQN(&name, &ns, m, &position));
    EXPECT_EQ(position, 1);
    EXPECT_EQ(ns, u"urn:b");
    ASSERT_TRUE(st.GetNextMember(&name, m, &position));
    EXPECT_EQ(position, 2);
    EXPECT_FALSE(st.GetNextMember(&name, m, &position));
    EXPECT_EQ(position, 2);
    EXPECT_EQ(name, u"c");
    EXPECT_EQ(m.LongValue(), 3);

    position = -1;
    ASSERT_TRUE(st.GetNextMember(&name, m, &position));
    EXPECT_EQ(position, 0);
    EXPECT_EQ(name, u"a");

    // Positions this struct never handed out: nothing written.
    for (long bad : {-2L, 3L, LONG_MAX, LONG_MIN}) {
        position = bad;
        EXPECT_FALSE(st.GetNextMember(&name, m, &position)) << bad;
        EXPECT_EQ(position, bad);
    }
    EXPECT_FALSE(st.GetNextMember(&name, m, nullptr));
}

TEST(WMSOAPStructType, IterationFollowsChangesAndCopiesIterateIndependently) {
    WMSOAPStructType st;
    st.SetMember(u"a", 1);
    st.SetMember(u"b", 2);
    WMSOAPStructMember m;
    long position = 0;
    ASSERT_TRUE(st.GetFirstMember(nullptr, m, &position));
    ASSERT_TRUE(st.GetNextMember(nullptr, m, &position));
    EXPECT_FALSE(st.GetNextMember(nullptr, m, &position));
    st.SetMember(u"c", 3);  // added after the end was reached: next in line
    ASSERT_TRUE(st.GetNextMember(nullptr, m, &position));
    EXPECT_EQ(m.GetName(), u"c");

    WMSOAPStructType copy(st);
    long copyPosition = 0;
    ASSERT_TRUE(copy.GetFirstMember(nullptr, m, &copyPosition));
    st = WMSOAPStructType();
    st.SetMember(u"z", 26);
    ASSERT_TRUE(copy.GetNextMember(nullptr, m, &copyPosition));
    EXPECT_EQ(m.GetName(), u"b");
    position = -1;
    ASSERT_TRUE(st.GetNextMember(nullptr, m, &position));
    EXPECT_EQ(m.GetName(), u"z");
    EXPECT_FALSE(st.GetNextMember(nullptr, m, &position));

    WMSOAPStructType moved(std::move(copy));
    EXPECT_FALSE(copy.GetFirstMember(nullptr, m, &position));
    ASSERT_TRUE(moved.GetNextMember(nullptr, m, &copyPosition));
    EXPECT_EQ(m.GetName(), u"c");
}

TEST(WMSOAPStructType, CopiesAreDeep) {
    WMSOAPStructType inner;
    inner.SetMember(u"x", 1);
    std::vector<WMSOAPStructType> array(2, inner);
    WMSOAPStructType outer;
    outer.SetMember(u"inner", inner);
    outer.SetMember(u"array", array);
    inner.SetMember(u"y", 2);  // after the store: not seen by outer
    array[0].SetMember(u"z", 3);

    WMSOAPStructMember m;
    ASSERT_TRUE(outer.GetMember(u"array", m));
    m.ArrayValue()[0].SetMember(u"w", 4);  // changes the read copy only
    EXPECT_EQ(corvane::test::ShowStruct(outer), "{inner={x=1},array=[{x=1},{x=1}]}");
}

}  // namespace
