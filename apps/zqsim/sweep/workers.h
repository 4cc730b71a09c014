#pragma once

#include "apps/zqsim/sweep/lineSocket.h"

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zqsim
{
/// Makes the line of a sample.
using SampleLine = std::function<std::string(std::uint64_t)>;

/// \name What goes over the connection of a worker
/// To it lines "FIRST END", of samples to run; back the line of each, in order. When its process has died, that is told
/// in its place behind `deathMark`, which no line of a sample has, and another process goes on with what comes next.
/// @{
constexpr char deathMark = '\x18';
/// @}

/// Runs samples in child processes, one for each connection, and starts a new one for one that has died: what a sample
/// does to its process harms no other sample. Returns when nobody is at the other ends any more. No other thread may run.
void superviseWorkers(std::vector<LineSocket> connections, const SampleLine& lineOf);

/// Workers of this process, in processes that end with this, whatever they are at.
class LocalWorkers
{
public:
   LocalWorkers(std::size_t count, const SampleLine& lineOf);
   LocalWorkers(const LocalWorkers&) = delete;
   LocalWorkers& operator=(const LocalWorkers&) = delete;
   ~LocalWorkers();

   /// For when they have nothing to do any more, and their connections are closed: the times that they took are then
   /// told as those of this process.
   void awaitEnd();
   /// The ends of their connections that are not theirs; once.
   std::vector<LineSocket> takeConnections() { return std::move(m_connections); }

private:
   std::vector<LineSocket> m_connections;
   pid_t m_supervisor = -1;
};
} // namespace zqsim
