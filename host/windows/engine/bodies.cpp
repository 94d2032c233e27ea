// SPDX-License-Identifier: Apache-2.0
// The members of orvEngine that the tables leave to be written by hand, and its start.
#include "host/windows/com/Server.h"
#include "host/windows/generated/orvEngine_adapters.h"

namespace orvspc::windows {

// The plain operation takes any table or record; an object of another class is refused here.
STDMETHODIMP SpecLimAdapter::Add(::ISpecLim* row) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<platform::SpecLim>(row))); });
}
STDMETHODIMP CtrlLimAdapter::Add(::ICtrlLim* row) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<platform::CtrlLim>(row))); });
}
STDMETHODIMP DefOppAdapter::Add(::IDefOpp* row) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<platform::DefOpp>(row))); });
}
STDMETHODIMP PartAdapter::Add(::IPart* record) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<engine::Part>(record))); });
}
STDMETHODIMP ProcessAdapter::Add(::IProcess* record) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<engine::Process>(record))); });
}
STDMETHODIMP TestAdapter::Add(::ITest* record) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<engine::Test>(record))); });
}
STDMETHODIMP SamplingRequirementAdapter::Add(::ISamplingRequirement* record) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<engine::SamplingRequirement>(record))); });
}
STDMETHODIMP StateCodeAdapter::Add(::IStateCode* record) {
  return Call([&](auto& o) { o.Add(Needed(com::TakeOwn<engine::StateCode>(record))); });
}

namespace com {

// The engine needs nothing before its first object.
void StartServer() {}
void StopServer() noexcept {}

}  // namespace com
}  // namespace orvspc::windows
