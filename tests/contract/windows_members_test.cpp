// SPDX-License-Identifier: Apache-2.0
// The members of the Windows components and the plain classes agree. The headers check the one
// direction while they are compiled; tools/windows_face.py checks both, by the names.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

#include "host/windows/generated/orvEngine_members.h"
#include "host/windows/generated/orvSPCAnalysis6_members.h"

namespace orvspc::windows {
namespace {

struct Plain {
  std::int32_t Size() const;
  void Size(std::int32_t);
  bool Move(double);
};
struct Derived : Plain {};

template <class Class, class Signature>
constexpr bool kIsSize = requires {
  Member<Class, Signature>::Is(&Class::Size);
};
template <class Signature>
constexpr bool kIsMove = requires {
  Member<Plain, Signature>::Is(&Plain::Move);
};

TEST(WindowsMembers, OnlyTheExactSignatureIsAMember) {
  EXPECT_TRUE((kIsSize<Plain, std::int32_t()>));
  EXPECT_TRUE((kIsSize<Derived, void(std::int32_t)>));
  EXPECT_FALSE((kIsSize<Derived, std::int64_t()>));
  EXPECT_TRUE(kIsMove<bool(double)>);
  EXPECT_FALSE(kIsMove<bool(std::int32_t)>);
  EXPECT_FALSE(kIsMove<void(double)>);
}

// Also that a planted fault of each kind would be found.
TEST(WindowsMembers, TheTablesAndTheClassesAgree) {
  EXPECT_EQ(std::system("python3 " ORVSPC_TESTS_DIR "/../tools/windows_face.py --self-test"), 0);
}

}  // namespace
}  // namespace orvspc::windows
