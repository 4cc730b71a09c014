#pragma once

#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <iosfwd>
#include <span>
#include <vector>

/// What drives a simulation over time, by name: a table of lines with commas between fields (RFC 4180), of
/// which the first holds names and the first column is "time" (s, increasing).
///
/// A name is that of the manipulator and of the link with a slash between, and what goes in there after a
/// space: "puma560/forearm torque".
///
/// | name                          | unit    | meaning                                                     |
/// |-------------------------------|---------|-------------------------------------------------------------|
/// | command                       |         | of the power converter: a voltage, a valve opening, a torque |
/// | torque                        | N m, N  | at the motor, beside that of the power converter             |
/// | force x, force y, force z     | N       | external force on the link or base, in its D-H frame         |
/// | moment x, moment y, moment z  | N m     | external moment about the origin of that frame               |
class ZqInputTable
{
public:
   enum class Interpolation
   {
      /// From its time on, a line holds until the next one. In a step, the line that holds at its start.
      Hold,
      /// Along straight lines between lines of the table. In a step, what there is at its middle.
      Linear
   };
   enum class Quantity
   {
      Command,
      Torque,
      ForceX,
      ForceY,
      ForceZ,
      MomentX,
      MomentY,
      MomentZ
   };
   struct Input
   {
      ZqString name;
      ZqSimulation::Place place;
      Quantity quantity;
   };
   /// All that may drive a system: of each manipulator first the base, then links by index.
   static std::vector<Input> inputsOf(const ZqManipulatorSystem& system);
   /// What an input is in a simulation now.
   static ZqReal valueOf(const Input& input, const ZqSimulation& simulation);

   /// Reads a table for a system. When something is wrong with it, an error tells what, with the name of the
   /// file and the line, and the table is empty: false.
   bool load(const ZqString& fileName, const ZqManipulatorSystem& system);
   /// The same from a stream, which the name stands for in messages.
   bool read(std::istream& stream, const ZqString& fileName, const ZqManipulatorSystem& system);

   /// \name To make one
   /// @{
   /// Without lines, for the torques of all joints of a manipulator, in the order of the link indices.
   static ZqInputTable ofTorques(const ZqManipulatorSystem& system, ZqU32 manipulator);
   /// Adds a line. False, with a message, when there is not one value for each input, a number is not finite, or the
   /// time (s) is not after that of the line before.
   bool addLine(ZqReal time, std::span<const ZqReal> values);
   /// Writes the table as it is read: numbers exactly, each as short as that is possible.
   void write(std::ostream& stream) const;
   /// The same to a file. False, with a message, when it cannot be written.
   bool save(const ZqString& fileName) const;
   /// @}

   Interpolation interpolation() const noexcept { return m_interpolation; }
   void setInterpolation(Interpolation interpolation) noexcept { m_interpolation = interpolation; }
   /// The columns but for time.
   const std::vector<Input>& inputs() const noexcept { return m_inputs; }
   /// Of the lines (s).
   const std::vector<ZqReal>& times() const noexcept { return m_times; }
   /// In a line and a column, each from 0.
   ZqReal value(std::size_t line, std::size_t column) const
   {
      return m_values[line * m_inputs.size() + column];
   }

   /// Sets what drives a simulation in its next step, to a time (s). What the table does not name stays as
   /// it is, and so does everything before its first time; its last line holds for ever. Allocates
   /// nothing.
   void apply(ZqSimulation& simulation, ZqReal end) const;

private:
   struct Reading;

   bool readHead(Reading& reading, const ZqManipulatorSystem& system);
   bool readLine(Reading& reading);

   Interpolation m_interpolation = Interpolation::Hold;
   std::vector<Input> m_inputs;
   std::vector<ZqReal> m_times;
   std::vector<ZqReal> m_values; ///< line after line
};
