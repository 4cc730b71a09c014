#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <memory>
#include <string>
#include <vector>

class ZqIndividualManipulator;

namespace zqBenchmark
{
using Joints = std::vector<double>;

/// A solver of inverse kinematics for the primary frame of the last link of a chain.
class InverseSolver
{
public:
   explicit InverseSolver(std::string name) : m_name(std::move(name)) {}
   virtual ~InverseSolver() = default;
   InverseSolver(const InverseSolver&) = delete;
   InverseSolver& operator=(const InverseSolver&) = delete;
   const std::string& name() const { return m_name; }
   virtual void solve(const Joints& start, const ZqCoordinateSystemTransformation& goal,
                      Joints& result) = 0;
   /// Whether it has the same arm.
   virtual bool agrees(const Joints&, const ZqCoordinateSystemTransformation&) { return true; }

private:
   std::string m_name;
};

/// Those of other libraries, as far as these were found.
std::vector<std::unique_ptr<InverseSolver>>
peersFor(const ZqIndividualManipulator& manipulator, const Joints& lower, const Joints& upper);
} // namespace zqBenchmark
