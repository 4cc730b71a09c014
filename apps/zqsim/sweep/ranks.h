#pragma once

#include "apps/zqsim/sweep/lineSocket.h"

#include <optional>
#include <string>
#include <vector>

namespace zqsim
{
/// The processes that MPI has started, if it has: of each worker of another rank there is a connection (TCP) to rank 0,
/// which tells by its end when that rank has died.
class Ranks
{
public:
   /// Waits for all ranks to come together. What cannot be is a `Failure`.
   explicit Ranks(std::size_t workers);
   Ranks(const Ranks&) = delete;
   Ranks& operator=(const Ranks&) = delete;
   ~Ranks();

   /// Whether this process was started by MPI.
   static bool areThere();

   /// Whether what has started them is not there any more, so that nobody would end them.
   bool areAbandoned() const;
   /// Zero too when there are no ranks.
   int rank() const { return m_rank; }
   /// Of rank 0: where others connect, -1 if there are none.
   int listener() const { return m_listener.descriptor(); }
   /// Of rank 0: a connection that has come.
   LineSocket accept() const;
   /// With which each connection has to begin.
   const std::string& password() const { return m_password; }
   /// Of other ranks: one for each worker; once.
   std::vector<LineSocket> takeConnections() { return std::move(m_connections); }

private:
   void meet();
   std::string invitation(bool isOneMachine);
   void connect(int rank, const std::string& invitation);

   std::size_t m_workers;
   int m_rank = 0;
   int m_starter = -1; ///< process, if there are ranks
   std::string m_password;
   LineSocket m_listener;
   std::vector<LineSocket> m_connections;
   std::string m_fault;
};
} // namespace zqsim
