// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <memory>
#include <utility>

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

class ForeignObject final : public platform::Object, public ComBacked {
 public:
  explicit ForeignObject(LateBound object) : object_(std::move(object)) {}

  IDispatch* Dispatch() const override { return object_.Object(); }

 private:
  LateBound object_;
};

class LateBoundDatabase final : public platform::Database, public ComBacked {
 public:
  LateBoundDatabase(LateBound object, DISPID handle, DISPID value)
      : object_(std::move(object)), handle_(handle), value_(value) {}

  IDispatch* Dispatch() const override { return object_.Object(); }

  std::int32_t ConnectionHandle() override {
    Value answer;
    // Deliberate: one after the other, since some script objects refuse both at once. A host may
    // have made a function of it.
    object_.Invoke(handle_, {DISPATCH_PROPERTYGET, DISPATCH_METHOD}, {}, answer);
    return NumberIn(answer);
  }

  std::int32_t DatabaseValue(std::int32_t value) override {
    Value argument(value);
    Value answer;
    // A host may have made a property with an argument of it.
    object_.Invoke(value_, {DISPATCH_METHOD, DISPATCH_PROPERTYGET}, {argument.Get()}, answer);
    return NumberIn(answer);
  }

 private:
  LateBound object_;
  DISPID handle_, value_;
};

}  // namespace

std::shared_ptr<platform::Object> HostObject(IDispatch* object) {
  LateBound late(object);
  const auto handle = late.Find(u"ConnectionHandle");
  const auto value = handle ? late.Find(u"DatabaseValue") : std::nullopt;
  if (!value) return std::make_shared<ForeignObject>(std::move(late));
  return std::make_shared<LateBoundDatabase>(std::move(late), *handle, *value);
}

}  // namespace orvspc::windows::com
