#include <gtest/gtest.h>

#include "monitor_fixture.h"

namespace vexa::test {
namespace {

const AddressBytes kIp1 = {2, 0, 0, 0, 10, 0, 0, 1};
const AddressBytes kIp2 = {2, 0, 0, 0, 10, 0, 0, 2};
const AddressBytes kIp3 = {2, 0, 0, 0, 10, 0, 0, 3};
const AddressBytes kLongIp1 = {2, 0, 0, 0, 10, 0, 0, 1, 0, 0, 0, 0};

AdapterRow down(std::string name, std::vector<AddressBytes> addresses = {}) {
  return {std::move(name), std::move(addresses), IfOperStatusDown};
}
AdapterRow tunnel(std::string name, std::vector<AddressBytes> addresses = {}) {
  return {std::move(name), std::move(addresses), IfOperStatusUp, IF_TYPE_TUNNEL};
}

struct ChangeCase {
  const char* name;
  AdapterRows stored;
  AdapterRows current;
  std::vector<std::string> changes;  // reported, in order
};
void PrintTo(const ChangeCase& change, std::ostream* out) { *out << change.name; }

const ChangeCase kChanges[] = {
    {"NothingChanged", {{"a", {kIp1}}, {"b", {kIp2}}}, {{"a", {kIp1}}, {"b", {kIp2}}}, {}},
    {"NoAdaptersAtAll", {}, {}, {}},
    {"FirstAdapterAppears", {}, {{"a", {}}}, {kCountChange}},
    {"LastAdapterGoes", {{"a", {}}}, {}, {kCountChange}},
    {"AdapterAdded", {{"a", {}}}, {{"a", {}}, {"b", {}}}, {kCountChange}},
    {"AdapterRemoved", {{"a", {}}, {"b", {}}}, {{"b", {}}}, {kCountChange}},
    {"TheCountEndsTheComparison", {{"a", {kIp1}}}, {down("a", {kIp2}), {"b", {}}}, {kCountChange}},
    {"AdapterReplaced", {{"a", {}}, {"b", {}}}, {{"a", {}}, {"c", {}}}, {kAdapterChange}},
    {"NamesDifferByCaseToo", {{"eth", {}}}, {{"ETH", {}}}, {kAdapterChange}},
    {"APrefixIsAnotherName", {{"eth1", {}}}, {{"eth10", {}}}, {kAdapterChange}},
    {"OrderDoesNotMatter", {{"a", {kIp1}}, {"b", {kIp2}}}, {{"b", {kIp2}}, {"a", {kIp1}}}, {}},
    {"TheFirstOfTwoEqualNamesCounts",
     {{"a", {kIp1}}, {"a", {kIp2}}},
     {{"a", {kIp1}}, {"a", {kIp1}}},
     {}},
    {"AnUnknownNameEndsTheWalk",
     {{"a", {kIp1}}, {"b", {kIp2}}},
     {{"c", {kIp1}}, {"b", {kIp3}}},
     {kAdapterChange}},
    {"GoesDown", {{"a", {}}}, {down("a")}, {kStatusChange}},
    {"ComesUp", {down("a")}, {{"a", {}}}, {kStatusChange}},
    {"AnyOtherStatus", {{"a", {}}}, {{"a", {}, IfOperStatusLowerLayerDown}}, {kStatusChange}},
    {"AStatusEndsTheWalk",
     {{"a", {kIp1}}, {"b", {kIp2}}},
     {down("a", {kIp3}), {"b", {kIp3}}},
     {kStatusChange}},
    {"AnotherTypeAloneIsNoChange", {{"a", {}, IfOperStatusUp, IF_TYPE_PPP}}, {{"a", {}}}, {}},
    {"AddressChanged", {{"a", {kIp1}}}, {{"a", {kIp2}}}, {kAddressChange}},
    {"SecondAddressChanged", {{"a", {kIp1, kIp2}}}, {{"a", {kIp1, kIp3}}}, {kAddressChange}},
    {"AddressesChangedPlaces", {{"a", {kIp1, kIp2}}}, {{"a", {kIp2, kIp1}}}, {kAddressChange}},
    {"LongerAddress", {{"a", {kIp1}}}, {{"a", {kLongIp1}}}, {kAddressChange}},
    {"ShorterAddress", {{"a", {kLongIp1}}}, {{"a", {kIp1}}}, {kAddressChange}},
    {"EmptyAddresses", {{"a", {{}}}}, {{"a", {{}}}}, {}},
    {"AnAddressOfOneByteChanged", {{"a", {{1}}}}, {{"a", {{2}}}}, {kAddressChange}},
    {"AddressAppended", {{"a", {kIp1}}}, {{"a", {kIp1, kIp2}}}, {}},
    {"LastAddressRemoved", {{"a", {kIp1, kIp2}}}, {{"a", {kIp1}}}, {}},
    {"FirstAddressRemoved", {{"a", {kIp1, kIp2}}}, {{"a", {kIp2}}}, {kAddressChange}},
    {"AddressesGone", {{"a", {kIp1}}}, {{"a", {}}}, {}},
    {"FirstAddressArrives", {{"a", {}}}, {{"a", {kIp1}}}, {}},
    {"TwoChangedAddressesOfOneAdapterAreOneMessage",
     {{"a", {kIp1, kIp2}}},
     {{"a", {kIp2, kIp3}}},
     {kAddressChange}},
    {"EachAdapterWithAChangedAddressHasItsMessage",
     {{"a", {kIp1}}, {"b", {kIp2}}, {"c", {kIp3}}},
     {{"a", {kIp2}}, {"b", {kIp2}}, {"c", {kIp1}}},
     {kAddressChange, kAddressChange}},
    {"AnAddressDoesNotEndTheWalk",
     {{"a", {kIp1}}, {"b", {}}, {"c", {kIp1}}},
     {{"a", {kIp2}}, down("b"), {"c", {kIp2}}},
     {kAddressChange, kStatusChange}},
    {"ATunnelListedFirstHidesEverything",
     {tunnel("t", {kIp1}), {"a", {kIp1}}},
     {tunnel("u", {kIp2}), down("b", {kIp2})},
     {}},
    {"BehindATunnelNothingIsCompared",
     {{"a", {kIp1}}, tunnel("t"), {"b", {kIp2}}},
     {{"a", {kIp3}}, tunnel("t"), down("b")},
     {kAddressChange}},
    {"AnAdapterBehindATunnelStillCounts", {tunnel("t")}, {tunnel("t"), {"a", {}}}, {kCountChange}},
    {"ATunnelOfOldDoesNotHide", {tunnel("a", {kIp1})}, {{"a", {kIp2}}}, {kAddressChange}},
};

class NetworkChange : public MonitorTest, public testing::WithParamInterface<ChangeCase> {
 protected:
  // Every change sets the status, which has a message of its own.
  static std::vector<TraceLine> expected() {
    std::vector<std::string> texts;
    for (const std::string& change : GetParam().changes) {
      texts.push_back(change);
      texts.push_back(kDetected);
    }
    return lines(texts);
  }
};

TEST_P(NetworkChange, IsReported) {
  store(GetParam().stored);
  check(GetParam().current);
  EXPECT_EQ(spy.trace(), expected());
  EXPECT_EQ(monitor().status(), GetParam().changes.empty() ? 0u : 1u);
}

TEST_P(NetworkChange, SetsTheHostsEvent) {
  const HostEvent event;
  store(GetParam().stored);
  EXPECT_EQ(monitor().setChangeEvent(event.get()), kOk);
  check(GetParam().current);
  EXPECT_EQ(event.isSet(), !GetParam().changes.empty());
}

TEST_P(NetworkChange, IsReportedOnceBecauseTheNewListIsKept) {
  store(GetParam().stored);
  check(GetParam().current);
  spy.clearTrace();
  ASSERT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(spy.trace(), lines({}));
  EXPECT_EQ(monitor().status(), GetParam().changes.empty() ? 0u : 1u);
}

TEST_P(NetworkChange, IsFoundByTheComparisonAlone) {
  store(GetParam().stored);
  adapters().show(GetParam().current);
  void* snapshot = nullptr;
  ASSERT_EQ(monitor().takeSnapshot(&snapshot), kOk);
  EXPECT_EQ(monitor().compareNetwork(snapshot), kOk);
  EXPECT_EQ(spy.trace(), expected());
  // The stored list is still the old one.
  spy.clearTrace();
  EXPECT_EQ(monitor().compareNetwork(snapshot), kOk);
  EXPECT_EQ(spy.trace(), expected());
  if (snapshot != nullptr) {
    HeapFree(GetProcessHeap(), 0, snapshot);
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, NetworkChange, testing::ValuesIn(kChanges),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(MonitorTest, WithoutAStoredListEveryAdapterIsNew) {
  check({{"a", {}}});
  EXPECT_EQ(spy.trace(), lines({kCountChange, kDetected}));
}

TEST_F(MonitorTest, WithoutAStoredListNoAdaptersAreNoChange) {
  check({});
  EXPECT_EQ(spy.trace(), lines({}));
  EXPECT_EQ(monitor().status(), 0u);
}

TEST_F(MonitorTest, AListThatCannotBeHadCountsAsEmpty) {
  store({{"a", {}}});
  adapters().answerQuery(ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(spy.trace(), lines({kCountChange, kDetected}));
}

TEST_F(MonitorTest, ResetTakesANewListAndForgetsTheChange) {
  store({{"a", {kIp1}}});
  check({{"a", {kIp2}}});
  ASSERT_EQ(monitor().status(), 1u);
  spy.clearTrace();
  adapters().show({{"b", {kIp3}}});
  EXPECT_EQ(monitor().reset(), kOk);
  EXPECT_EQ(spy.trace(), lines({"Reset internal status", kStatusReset}));
  EXPECT_EQ(monitor().status(), 0u);
  spy.clearTrace();
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(spy.trace(), lines({}));
}

TEST_F(MonitorTest, AnAdapterNameIsComparedByTheStringComponent) {
  store({{"a", {}}});
  static std::vector<std::pair<std::string, std::string>> compared;
  compared.clear();
  spy.strings.TextCompare = [](const char* a, const char* b) {
    compared.emplace_back(a, b);
    return 0;  // whatever they are
  };
  check({{"b", {}}});
  EXPECT_EQ(spy.trace(), lines({}));
  ASSERT_EQ(compared.size(), 1u);
}

}  // namespace
}  // namespace vexa::test
