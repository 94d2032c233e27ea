// SPDX-License-Identifier: Apache-2.0
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <thread>

#include "platform/WireDouble.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc::platform {
namespace {

class Installed {
 public:
  explicit Installed(std::shared_ptr<Platform> platform) { Install(std::move(platform)); }
  ~Installed() { Install(nullptr); }
};

TEST(Platform, NoneIsInForceUntilOneIsInstalled) {
  EXPECT_EQ(Current(), nullptr);
  const auto fake = std::make_shared<fake::FakePlatform>();
  {
    const Installed installed(fake);
    EXPECT_EQ(Current(), fake);
  }
  EXPECT_EQ(Current(), nullptr);
}

TEST(Platform, OneThatEndsMayAskForTheOneInForce) {
  class Asking : public fake::FakePlatform {
   public:
    explicit Asking(std::shared_ptr<Platform>& seen) : seen_(seen) {}
    ~Asking() override { seen_ = Current(); }

   private:
    std::shared_ptr<Platform>& seen_;
  };
  std::shared_ptr<Platform> seen;
  const auto next = std::make_shared<fake::FakePlatform>();
  Install(std::make_shared<Asking>(seen));
  Install(next);
  EXPECT_EQ(seen, next);
  Install(nullptr);
}

TEST(Platform, AScopeOverridesAndItsEndRestores) {
  const auto outer = std::make_shared<fake::FakePlatform>();
  const auto inner = std::make_shared<fake::FakePlatform>();
  const Installed installed(outer);
  {
    const Scope scope(inner);
    EXPECT_EQ(Current(), inner);
    {
      const Scope again(outer);
      EXPECT_EQ(Current(), outer);
    }
    EXPECT_EQ(Current(), inner);
  }
  EXPECT_EQ(Current(), outer);
}

TEST(Platform, AScopeIsOfItsThreadAlone) {
  const auto everywhere = std::make_shared<fake::FakePlatform>();
  const Installed installed(everywhere);
  const Scope scope(std::make_shared<fake::FakePlatform>());
  std::shared_ptr<Platform> seen;
  std::thread([&] { seen = Current(); }).join();
  EXPECT_EQ(seen, everywhere);
}

TEST(Platform, AScopeOfNullGivesTheInstalledOne) {
  const auto everywhere = std::make_shared<fake::FakePlatform>();
  const Installed installed(everywhere);
  const Scope scope(nullptr);
  EXPECT_EQ(Current(), everywhere);
}

TEST(WireDouble, KeepsEveryBitAtAnOffsetThatIsNoMultipleOfEight) {
  struct {
    std::int32_t before = 1;
    WireDouble value;
  } record;
  static_assert(sizeof record == 12);
  for (const double value : {0.0, -0.0, 0.1, 1e308, 5e-324}) {
    record.value = value;
    const double back = record.value;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back), std::bit_cast<std::uint64_t>(value)) << value;
  }
  EXPECT_EQ(record.before, 1);
}

}  // namespace
}  // namespace orvspc::platform
