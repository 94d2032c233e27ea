// SPDX-License-Identifier: Apache-2.0
#include "engine/hooks/curl/CurlPoster.h"

#include <curl/curl.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace orvspc::engine::hooks::curl {
namespace {

struct Freed {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Handle = std::unique_ptr<CURL, Freed>;

void Begin() {
  // Once a process; the runtime keeps other threads waiting.
  static const auto begun = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (begun != CURLE_OK) throw std::runtime_error("libcurl cannot be used");
}

template <class Value>
void Set(CURL* handle, CURLoption option, Value value) {
  const auto done = curl_easy_setopt(handle, option, value);
  if (done != CURLE_OK) throw std::runtime_error(curl_easy_strerror(done));
}

class Headers {
 public:
  void Add(const std::string& line) {
    auto* const longer = curl_slist_append(lines_.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(lines_.release());
    lines_.reset(longer);
  }
  curl_slist* Lines() const { return lines_.get(); }

 private:
  std::unique_ptr<curl_slist, Freed> lines_;
};

std::size_t Drop(char* /*data*/, std::size_t size, std::size_t count, void* /*unused*/) {
  return size * count;
}

std::string Uncapitalised(std::string text) {
  // "SSL" and the like stay.
  if (text.size() > 1 && std::islower(static_cast<unsigned char>(text[1])) != 0) {
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  }
  return text;
}

std::string ReasonOf(CURL* handle, CURLcode code, std::chrono::milliseconds at_most) {
  if (code == CURLE_OPERATION_TIMEDOUT) {
    return "no answer within " + std::to_string(at_most.count()) + " ms";
  }
  long reason = 0;
  if (code == CURLE_COULDNT_CONNECT &&
      curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &reason) == CURLE_OK && reason != 0) {
    return Uncapitalised(std::strerror(static_cast<int>(reason)));
  }
  return Uncapitalised(curl_easy_strerror(code));
}

}  // namespace

Answer Post(const Hook& hook, const Message& message, std::chrono::milliseconds at_most) {
  Begin();
  const Handle owner(curl_easy_init());
  auto* const handle = owner.get();
  if (handle == nullptr) throw std::bad_alloc();
  Headers headers;
  headers.Add("Content-Type: application/json");
  headers.Add("Expect:");  // no pause before the text is sent
  headers.Add("Orvspc-Id: " + message.id);
  if (!hook.secret.empty()) {
    const auto now = std::chrono::duration_cast<std::chrono::seconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    headers.Add("Orvspc-Signature: " + SignatureOf(hook.secret, now, message.text));
  }
  Set(handle, CURLOPT_URL, hook.url.c_str());
  Set(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  Set(handle, CURLOPT_FOLLOWLOCATION, 0L);
  Set(handle, CURLOPT_SSL_VERIFYPEER, 1L);
  Set(handle, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!hook.ca_file.empty()) Set(handle, CURLOPT_CAINFO, hook.ca_file.c_str());
  Set(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(at_most.count()));
  Set(handle, CURLOPT_NOSIGNAL, 1L);
  Set(handle, CURLOPT_USERAGENT, "orvspc");
  Set(handle, CURLOPT_HTTPHEADER, headers.Lines());
  Set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(message.text.size()));
  Set(handle, CURLOPT_POSTFIELDS, message.text.c_str());
  Set(handle, CURLOPT_WRITEFUNCTION, &Drop);
  const auto code = curl_easy_perform(handle);
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  constexpr long kDone = 200, kRedirect = 300, kError = 400;
  // A status is an answer, whatever goes wrong after it.
  if (code != CURLE_OK && status == 0) {
    long sent = 0;
    curl_easy_getinfo(handle, CURLINFO_REQUEST_SIZE, &sent);
    return {ReasonOf(handle, code, at_most), sent > 0 ? Reach::Silent : Reach::Absent};
  }
  if (status >= kDone && status < kRedirect) return {};
  const auto answered = "the receiver answered " + std::to_string(status);
  const bool is_redirect = status >= kRedirect && status < kError;
  return {is_redirect ? answered + ", and redirects are not followed" : answered};
}

}  // namespace orvspc::engine::hooks::curl
