#include "apps/zqsim/sweep/initialStates.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/csvTable.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/names.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <sstream>

struct zqsim::InitialStates::Named
{
   std::string name;
   Target target;
};

namespace
{
/// Numbers of a base in the order of their names. Position and orientation stand in the system, in the state in the
/// frame of the manipulator.
constexpr std::array<const char*, 13> baseNames{
   "position x",        "position y",        "position z",         "orientation w",
   "orientation x",     "orientation y",     "orientation z",      "linear velocity x",
   "linear velocity y", "linear velocity z", "angular velocity x", "angular velocity y",
   "angular velocity z"};
using BaseNumbers = std::array<ZqReal, baseNames.size()>;

BaseNumbers numbersOfBase(const ZqCoordinateSystemTransformation& frame,
                          const ZqPositionState& position, const ZqVelocityState& velocity)
{
   const ZqCoordinateSystemTransformation pose = frame * position.coordSysXForm();
   const ZqVector& p = pose.translation();
   const ZqOrientation& q = pose.orientation();
   const ZqVector& v = velocity.generalVelocity().linear();
   const ZqVector& w = velocity.generalVelocity().angular();
   return {p.x(), p.y(), p.z(), q.w(), q.x(), q.y(), q.z(),
           v.x(), v.y(), v.z(), w.x(), w.y(), w.z()};
}

/// An orientation is taken to length 1; tables may be rounded.
void setBase(const BaseNumbers& n, const ZqCoordinateSystemTransformation& frame,
             ZqPositionState& position, ZqVelocityState& velocity)
{
   ZqOrientation orientation(n[3], n[4], n[5], n[6]);
   orientation.normalize();
   position.setCoordSysXForm(
      frame.inverse() * ZqCoordinateSystemTransformation(ZqVector(n[0], n[1], n[2]), orientation));
   velocity.setGeneralVelocity({ZqVector(n[7], n[8], n[9]), ZqVector(n[10], n[11], n[12])});
}
} // namespace

zqsim::InitialStates::InitialStates(const std::string& fileName, const std::string& text,
                                    const ZqStatedSystem& scene)
{
   if (fileName.ends_with(".xml"))
      readStates(fileName, text, scene);
   else
      readTable(fileName, text, scene);
}

void zqsim::InitialStates::readStates(const std::string& fileName, const std::string& text,
                                      const ZqStatedSystem& scene)
{
   ZqXmlVectorType<ZqManipulatorSystemState> states;
   bool isRead = false;
   const Diagnostics diagnostics = diagnosticsOf(
      [&]
      {
         std::istringstream stream(text);
         ZqXmlReader reader(stream, fileName);
         isRead = Zq::read(states, reader);
      });
   if (!isRead)
      throw Failure(InvalidInput, reason(fileName, diagnostics));
   for (unsigned i = 0; i < states.size(); ++i)
   {
      if (!states[i].checkCompatibleState(scene.state()))
         throw Failure(InvalidInput, fileName + ": state " + std::to_string(i) +
                                        " has not the manipulators and joints of the model");
      m_states.push_back(states[i]);
   }
   if (m_states.empty())
      throw Failure(InvalidInput, fileName + ": there are no states in it");
}

/// All that a table may name.
std::vector<zqsim::InitialStates::Named>
zqsim::InitialStates::targetsOf(const ZqManipulatorSystem& system)
{
   std::vector<Named> targets;
   for (const char* name : {"time", "kinetic energy", "potential energy", "total energy"})
      targets.push_back({name, {Part::None, 0, 0}});
   for (ZqU32 i = 0; i < system.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = system.manipulators()[i];
      const std::string prefix = manipulator.manipulatorLabel() + '/';
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      {
         const std::string name = prefix + link->linkLabel();
         targets.push_back({name + " position", {Part::JointPosition, i, link->linkIndex()}});
         targets.push_back({name + " velocity", {Part::JointVelocity, i, link->linkIndex()}});
      }
      const std::string base = prefix + manipulator.concreteReference().linkLabel() + ' ';
      for (ZqU32 k = 0; k < baseNames.size(); ++k)
         targets.push_back({base + baseNames[k], {Part::Base, i, k}});
   }
   return targets;
}

void zqsim::InitialStates::readHead(const std::string& fileName, std::span<const std::string> names,
                                    const ZqManipulatorSystem& system)
{
   const std::vector<Named> targets = targetsOf(system);
   for (const std::string& name : names)
   {
      const auto found = std::find_if(targets.begin(), targets.end(),
                                      [&](const Named& target) { return target.name == name; });
      if (found == targets.end())
      {
         std::vector<std::string> known;
         for (const Named& target : targets)
            known.push_back(target.name);
         throw Failure(InvalidInput, fileName + ":1: column \"" + name +
                                        "\" is none of a state; near it are " +
                                        namesNear(name, known));
      }
      m_columns.push_back(found->target);
   }
}

void zqsim::InitialStates::readTable(const std::string& fileName, const std::string& text,
                                     const ZqStatedSystem& scene)
{
   std::vector<std::string> fields;
   std::istringstream stream(text);
   std::size_t number = 0;
   for (std::string line; std::getline(stream, line);)
   {
      ++number;
      const auto refuse = [&](const std::string& what)
      { throw Failure(InvalidInput, fileName + ':' + std::to_string(number) + ": " + what); };
      if (line.ends_with('\r'))
         line.pop_back();
      if (!splitCsv(line, fields))
         refuse("a quotation mark has no other one");
      if (number == 1)
      {
         readHead(fileName, fields, scene.system());
         continue;
      }
      if (fields.size() != m_columns.size())
         refuse("has " + std::to_string(fields.size()) + " fields, and not " +
                std::to_string(m_columns.size()));
      for (const std::string& field : fields)
      {
         ZqReal value = 0.0;
         const char* end = field.data() + field.size();
         const auto read = std::from_chars(field.data(), end, value);
         if (read.ec != std::errc() || read.ptr != end || !std::isfinite(value))
            refuse("expected a number, but received \"" + field + '"');
         m_numbers.push_back(value);
      }
   }
   if (m_numbers.empty())
      throw Failure(InvalidInput, fileName + ": there is no line of numbers in it");
}

void zqsim::InitialStates::apply(std::uint64_t sample, ZqStatedSystem& scene) const
{
   ZqManipulatorSystemState state = scene.state();
   if (!m_states.empty())
   {
      const ZqReal time = state.time();
      state = m_states[sample % m_states.size()];
      state.setTime(time);
   }
   else
   {
      const std::size_t line = sample % (m_numbers.size() / m_columns.size());
      applyLine(std::span(m_numbers).subspan(line * m_columns.size(), m_columns.size()),
                scene.system(), state);
   }
   scene.setState(state);
}

void zqsim::InitialStates::applyLine(std::span<const ZqReal> line,
                                     const ZqManipulatorSystem& system,
                                     ZqManipulatorSystemState& state) const
{
   for (ZqU32 i = 0; i < system.numberOfManipulators(); ++i)
   {
      const ZqCoordinateSystemTransformation& frame = system.manipulators()[i].coordSysXForm();
      BaseNumbers base = numbersOfBase(frame, state.positionStates()[i], state.velocityStates()[i]);
      bool isBaseNamed = false;
      for (std::size_t k = 0; k < line.size(); ++k)
      {
         const auto [part, manipulator, index] = m_columns[k];
         if (manipulator != i)
            continue;
         if (part == Part::JointPosition)
            state.positionStates()[i].jointPositions()[index] = line[k];
         else if (part == Part::JointVelocity)
            state.velocityStates()[i].jointVelocities()[index] = line[k];
         else if (part == Part::Base)
         {
            base[index] = line[k];
            isBaseNamed = true;
         }
      }
      if (isBaseNamed)
         setBase(base, frame, state.positionStates()[i], state.velocityStates()[i]);
   }
}
