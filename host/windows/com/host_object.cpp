// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <memory>
#include <optional>

#include "frame/Failure.h"
#include "host/windows/com/ComBacked.h"
#include "host/windows/com/LateBound.h"
#include "host/windows/com/failures.h"
#include "host/windows/com/identity.h"
#include "platform/Database.h"

namespace orvspc::windows::com {
namespace {

// 13 for what is no number, 6 for one that is too large.
std::int32_t NumberIn(Value& value) {
  const HRESULT result =
      VariantChangeTypeEx(&value.Get(), &value.Get(), LOCALE_INVARIANT, VARIANT_NOVALUEPROP, VT_I4);
  if (result == DISP_E_OVERFLOW) Fail(kOverflow, "Overflow");
  if (FAILED(result)) FailTypeMismatch();
  return value.Get().lVal;
}

class LateBoundDatabase final : public platform::Database, public ComBacked {
 public:
  explicit LateBoundDatabase(IDispatch* object) : object_(object) {}

  IDispatch* Dispatch() const override { return object_.Object(); }

  void Confirm(const Friend&) override { Names(); }

  std::int32_t ConnectionHandle() override {
    Value answer;
    // Deliberate: one after the other, since some script objects refuse both at once. A host may
    // have made a function of it.
    object_.Invoke(Names().handle, {DISPATCH_PROPERTYGET, DISPATCH_METHOD}, {}, answer);
    return NumberIn(answer);
  }

  std::int32_t DatabaseValue(std::int32_t value) override {
    Value argument(value);
    Value answer;
    // A host may have made a property with an argument of it.
    object_.Invoke(Names().value, {DISPATCH_METHOD, DISPATCH_PROPERTYGET}, {argument.Get()},
                   answer);
    return NumberIn(answer);
  }

 private:
  struct Identifiers {
    DISPID handle, value;
  };

  const Identifiers& Names() {
    if (!names_) {
      const auto handle = object_.Find(u"ConnectionHandle");
      const auto value = handle ? object_.Find(u"DatabaseValue") : std::nullopt;
      if (!value) FailTypeMismatch();
      names_ = {*handle, *value};
    }
    return *names_;
  }

  LateBound object_;
  std::optional<Identifiers> names_;
};

}  // namespace

std::shared_ptr<platform::Object> HostObject(IDispatch* object) {
  return std::make_shared<LateBoundDatabase>(object);
}

}  // namespace orvspc::windows::com
