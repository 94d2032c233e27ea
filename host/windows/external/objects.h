// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "host/windows/com/ComBacked.h"
#include "host/windows/com/Create.h"
#include "host/windows/com/Handles.h"
#include "host/windows/com/LateBound.h"
#include "host/windows/com/Pointer.h"
#include "host/windows/com/automation.h"
#include "host/windows/com/values.h"
#include "host/windows/typelib/orvEngine.h"
#include "platform/Platform.h"

// The external objects of the component. Each is a COM object of another library, made by its name
// and called by the interface of that name.
namespace orvspc::windows::external {

// The path of the running program.
std::string PathOfProgram();

// The interface of the COM object that a plain one wraps; null for null, 13 when it has none such.
template <class Interface>
com::Pointer<Interface> Behind(platform::Object* object) {
  if (object == nullptr) return {};
  const auto* const backed = dynamic_cast<const com::ComBacked*>(object);
  auto found =
      com::Query<Interface>(backed == nullptr ? nullptr : backed->Dispatch(), __uuidof(Interface));
  if (!found) com::FailTypeMismatch();
  return found;
}

// What all have: Plain is the interface of the library that the object implements.
template <class Plain, class Interface>
class Wrapped : public Plain, public com::ComBacked {
 public:
  explicit Wrapped(const wchar_t* name) : object_(com::Create<Interface>({name})) {}

  IDispatch* Dispatch() const override { return object_.Get(); }
  // The object is not called any more.
  void Drop() { object_ = {}; }

 protected:
  template <class... Parameters, class... Arguments>
  void Call(HRESULT (STDMETHODCALLTYPE Interface::*operation)(Parameters...),
            Arguments&&... arguments) const {
    com::Call(object_.Get(), operation, std::forward<Arguments>(arguments)...);
  }
  std::int32_t Long(HRESULT (STDMETHODCALLTYPE Interface::*operation)(LONG*)) const {
    LONG value = 0;
    Call(operation, &value);
    return value;
  }
  bool Boolean(HRESULT (STDMETHODCALLTYPE Interface::*operation)(VARIANT_BOOL*)) const {
    VARIANT_BOOL value = VARIANT_FALSE;
    Call(operation, &value);
    return value != VARIANT_FALSE;
  }
  std::string Utf8(HRESULT (STDMETHODCALLTYPE Interface::*operation)(BSTR*)) const {
    com::Text text;
    Call(operation, text.Receive());
    return text.Utf8();
  }
  // Of those objects that read the database.
  bool ReadFrom(const std::shared_ptr<platform::Database>& database, std::int32_t mode) const {
    VARIANT_BOOL found = VARIANT_FALSE;
    Call(&Interface::Read, Behind<IDispatch>(database.get()).Get(), LONG{mode}, &found);
    return found != VARIANT_FALSE;
  }

 private:
  com::Pointer<Interface> object_;
};

class RuleDef final : public Wrapped<platform::RuleDef, IRuleDef> {
 public:
  RuleDef() : Wrapped(L"orvEngine.RuleDef") {}

  void FirstSetting(std::int32_t value) override { Call(&IRuleDef::put_FirstSetting, value); }
  void SecondSetting(std::int32_t value) override { Call(&IRuleDef::put_SecondSetting, value); }
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override {
    return ReadFrom(database, mode);
  }
  bool MoveFirst() override { return Boolean(&IRuleDef::MoveFirst); }
  bool MoveNext() override { return Boolean(&IRuleDef::MoveNext); }
  std::int32_t Number() override { return Long(&IRuleDef::get_Number); }
  std::string Text() override { return Utf8(&IRuleDef::get_Text); }
  void Add(platform::RuleDef& other) override {
    Call(&IRuleDef::Add, Behind<IRuleDef>(&other).Get());
  }
};

// The three tables of limits.
template <class Plain, class Interface>
class Limits final : public Wrapped<Plain, Interface> {
 public:
  using Wrapped<Plain, Interface>::Wrapped;

  void Let(std::string_view column, const platform::Cell& value) override {
    com::Value cell;
    com::Put(cell.Receive(), value);
    this->Call(&Interface::put_Value, com::Text(column).Get(), cell.Get());
  }
  platform::Cell Get(std::string_view column) override {
    com::Value cell;
    this->Call(&Interface::get_Value, com::Text(column).Get(), cell.Receive());
    return com::TakeCell(cell.Get());
  }
  void Add(platform::LimitTable& row) override {
    this->Call(&Interface::Add, Behind<Interface>(&row).Get());
  }
  bool MoveFirst() override { return this->Boolean(&Interface::MoveFirst); }
  bool MoveNext() override { return this->Boolean(&Interface::MoveNext); }
};

using SpecLim = Limits<platform::SpecLim, ISpecLim>;
using CtrlLim = Limits<platform::CtrlLim, ICtrlLim>;
using DefOpp = Limits<platform::DefOpp, IDefOpp>;

// The five kinds of records with a name.
template <class Interface>
class NameRecord final : public Wrapped<platform::NameRecord, Interface> {
 public:
  using Wrapped<platform::NameRecord, Interface>::Wrapped;

  std::int32_t ID() override { return this->Long(&Interface::get_ID); }
  void ID(std::int32_t value) override { this->Call(&Interface::put_ID, value); }
  void KeyMode(std::int32_t value) override { this->Call(&Interface::put_KeyMode, value); }
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override {
    return this->ReadFrom(database, mode);
  }
  void Add(platform::NameRecord& record) override {
    this->Call(&Interface::Add, Behind<Interface>(&record).Get());
  }
  bool MoveFirst() override { return this->Boolean(&Interface::MoveFirst); }
  bool MoveNext() override { return this->Boolean(&Interface::MoveNext); }
  std::string Name() override { return this->Utf8(&Interface::get_Name); }
};

class PrcsStateLog final : public Wrapped<platform::PrcsStateLog, IPrcsStateLog> {
 public:
  PrcsStateLog() : Wrapped(L"orvEngine.PrcsStateLog") {}

  void RowLimit(std::int32_t value) override { Call(&IPrcsStateLog::put_RowLimit, value); }
  void KeyMode(std::int32_t value) override { Call(&IPrcsStateLog::put_KeyMode, value); }
  void ProcessID(std::int32_t value) override { Call(&IPrcsStateLog::put_ProcessID, value); }
  void QueryType(std::int32_t value) override { Call(&IPrcsStateLog::put_QueryType, value); }
  double Time() override {
    DATE time = 0.0;
    Call(&IPrcsStateLog::get_Time, &time);
    return time;
  }
  void Time(double value) override { Call(&IPrcsStateLog::put_Time, value); }
  bool Read(const std::shared_ptr<platform::Database>& database, std::int32_t mode) override {
    return ReadFrom(database, mode);
  }
  void Add(platform::PrcsStateLog& record) override {
    Call(&IPrcsStateLog::Add, Behind<IPrcsStateLog>(&record).Get());
  }
  bool MoveFirst() override { return Boolean(&IPrcsStateLog::MoveFirst); }
  bool MoveNext() override { return Boolean(&IPrcsStateLog::MoveNext); }
  std::int32_t Process() override { return Long(&IPrcsStateLog::get_Process); }
  std::int32_t StateID() override { return Long(&IPrcsStateLog::get_StateID); }
  std::string StateName() override { return Utf8(&IPrcsStateLog::get_StateName); }
  std::int32_t StateType() override { return Long(&IPrcsStateLog::get_StateType); }
};

class TimeConversion final : public Wrapped<platform::TimeConversion, ITimeConversion> {
 public:
  TimeConversion() : Wrapped(L"orvEngine.TimeConversion") {}

  std::int32_t DateToTimeStamp(double date) override {
    LONG stamp = 0;
    Call(&ITimeConversion::DateToTimeStamp, date, &stamp);
    return stamp;
  }
  double TimeStampToDate(std::int32_t stamp) override {
    DATE date = 0.0;
    Call(&ITimeConversion::TimeStampToDate, stamp, &date);
    return date;
  }
};

class TextTrimmer final : public Wrapped<platform::TextTrimmer, ITextTrimmer> {
 public:
  TextTrimmer() : Wrapped(L"orvEngine.TextTrimmer") {}

  void TrimFixedString(std::u16string& text) override {
    com::Text fixed{std::u16string_view(text)};
    Call(&ITextTrimmer::TrimFixedString, fixed.Exchange());
    text = fixed.Units();
  }
};

// Called by the name of its one operation, so that any logger of the name serves.
class ErrorLog final : public platform::ErrorLog, public com::ComBacked {
 public:
  explicit ErrorLog(std::string_view name);

  IDispatch* Dispatch() const override { return object_.Object(); }
  void Log(const std::string& Procedure, std::int32_t Number, const std::string& Description,
           const std::string& Source, const std::string& Application) override;

 private:
  com::LateBound object_;
};

}  // namespace orvspc::windows::external
