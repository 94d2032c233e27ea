// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <libpq-fe.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/sql/Connection.h"
#include "engine/sql/postgres/wire.h"

namespace orvspc::engine::sql::postgres {

struct ResultDeleter {
  void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

// Whom an answer of the server is for.
class Receiver {
 public:
  virtual ~Receiver() = default;
  virtual void Take(Result result) = 0;
};

// The connection to the server: what is sent, and the answers in the order of what was sent.
// Functions throw SqlError. Once it is lost, each throws until Connect.
class Pipeline {
 public:
  explicit Pipeline(std::string address) : address_(std::move(address)) {}

  // Anew where there is a connection already. Returns whether a condition holds, which the server
  // is asked on the way.
  bool Connect(std::string_view condition);
  bool IsConnected() const { return server_ != nullptr; }
  // Counts the connections made, since what is prepared goes with its connection.
  int Session() const { return session_; }
  const std::string& Address() const { return address_; }

  // The open transaction has a number; 0: there is none. It goes with the connection.
  void BeginTransaction() {
    transaction_ = ++transactions_;
    failed_ = false;
    waiting_ = 0;
  }
  void EndTransaction() {
    transaction_ = 0;
    ForgetFailures();
  }
  std::int64_t TransactionNumber() const { return transaction_; }
  // Whether a statement of the transaction has failed.
  bool HasFailed() const { return failed_; }
  // Counts what holds rows that the transaction is still to send.
  void BeginRows() { ++waiting_; }
  void FinishRows() { --waiting_; }
  bool HasRowsWaiting() const { return waiting_ != 0; }

  enum class Kind {
    Statement,  // its failure is thrown
    Quiet,      // its failure is of no interest
    Sync,       // after a failure the server resumes after it
  };
  // All of these only send.
  void SendText(const char* sql, Kind kind, Receiver* owner = nullptr);
  void SendPrepare(const std::string& name, const std::string& sql,
                   const std::vector<TypeId>& types);
  void SendPrepared(const std::string& name, std::span<const char* const> values,
                    std::span<const int> lengths, std::span<const int> formats, Receiver* owner);
  // Has the server answer what was sent.
  void Sync();
  // Takes the next answer.
  void Receive();
  // Answers that are still to come are for nobody.
  void Forget(const Receiver& owner) noexcept;
  // Of what was sent so far no failure is of interest, such as that of a statement nobody stepped.
  void ForgetFailures() noexcept;
  // Waits for all answers.
  void Drain();
  // Calls work now and then until an answer is there. Nothing else is under way.
  void AwaitAnswer(const std::function<void()>& work);

  // These run alone, once everything else is answered.
  //
  // One or more statements whose rows nobody reads.
  void Execute(const char* sql);
  // Rows to the server.
  void Copy(const std::string& sql, std::string_view rows);

 private:
  void CheckServer() const;
  [[noreturn]] void Drop(const SqlError& failure);
  void Sent(int was_sent, Kind kind, Receiver* owner);
  template <class Work>
  void Alone(Work work);
  // The result of a statement, which is one of these.
  Result ResultOf(PGresult* taken, std::initializer_list<ExecStatusType> expected);

  // What was sent and not yet answered.
  struct Request {
    Kind kind;
    Receiver* owner;  // null: the answer is for nobody
  };
  struct ConnectionDeleter {
    void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
  };

  const std::string address_;
  std::unique_ptr<PGconn, ConnectionDeleter> server_;
  int session_ = 0;
  std::int64_t transaction_ = 0, transactions_ = 0;
  bool failed_ = false;
  int waiting_ = 0;
  bool synced_ = true;
  std::deque<Request> pending_;
};

}  // namespace orvspc::engine::sql::postgres
