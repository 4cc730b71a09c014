#pragma once

#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zqsim
{
/// Where the samples of a sweep begin, one after the other and then again from the first: lines of a table, or the
/// states of a document. Both as `zqsim run --out` writes them.
///
/// A table has positions and velocities of joints and of bases by name, as "arm/elbow position"; what it does not name
/// stays as it is in the scene. Times and energies are passed over.
class InitialStates
{
public:
   /// Of the text of a file, by the ending of its name. What does not fit the scene is a `Failure`.
   InitialStates(const std::string& fileName, const std::string& text, const ZqStatedSystem& scene);

   /// The time stays as it is.
   void apply(std::uint64_t sample, ZqStatedSystem& scene) const;

private:
   enum class Part : unsigned char
   {
      JointPosition,
      JointVelocity,
      Base,
      None
   };
   struct Target
   {
      Part part;
      ZqU32 manipulator;
      ZqU32 index; ///< of the joint, or of the number of the base
   };
   struct Named;

   static std::vector<Named> targetsOf(const ZqManipulatorSystem& system);
   void readTable(const std::string& fileName, const std::string& text,
                  const ZqStatedSystem& scene);
   void readStates(const std::string& fileName, const std::string& text,
                   const ZqStatedSystem& scene);
   void readHead(const std::string& fileName, std::span<const std::string> names,
                 const ZqManipulatorSystem& system);
   void applyLine(std::span<const ZqReal> line, const ZqManipulatorSystem& system,
                  ZqManipulatorSystemState& state) const;

   std::vector<Target> m_columns; ///< of the table
   std::vector<ZqReal> m_numbers; ///< line after line
   std::vector<ZqManipulatorSystemState> m_states;
};
} // namespace zqsim
