#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// What the benchmark of broad phases knows of a library: each gets the same boxes and the same
/// moves.
namespace zqBenchmark
{
struct Box
{
   std::array<double, 3> lower, upper;
};

struct Move
{
   unsigned id;
   Box box;
};
using Moves = std::vector<Move>;

class BroadPhase
{
public:
   explicit BroadPhase(std::string name) : m_name(std::move(name)) {}
   virtual ~BroadPhase() = default;
   const std::string& name() const { return m_name; }
   /// Brings the moves into the library's own form: not measured.
   virtual void prepare(const Moves& moves) = 0;
   /// Moves the boxes, and goes over all pairs: the number of those whose boxes overlap.
   virtual std::size_t run() = 0;

protected:
   BroadPhase(const BroadPhase&) = delete;
   BroadPhase& operator=(const BroadPhase&) = delete;

private:
   std::string m_name;
};
using BroadPhases = std::vector<std::unique_ptr<BroadPhase>>;

/// \name Peers
/// Each appends what the library has. FCL's sweep takes minutes where boxes are crowded, and is
/// left out there.
/// @{
void addFcl(const std::vector<Box>& boxes, bool isCrowded, BroadPhases& peers);
void addBullet(const std::vector<Box>& boxes, BroadPhases& peers);
/// @}
} // namespace zqBenchmark
