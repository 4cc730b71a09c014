#include "zqManipulator/state/ZqManipulatorSystemState.h"

#include "zqManipulator/state/ZqStateValues.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqManipulatorSystemState>;

namespace
{
/// Reads a count and so many states. States that exist already are read over; more are made as they
/// arrive, so that a count alone takes no memory.
template <class State>
bool readStates(std::istream& stream, std::vector<State>& states)
{
   std::size_t count = 0;
   if (!ZqStateValues::readCount(stream, count))
      return false;
   states.resize(std::min(states.size(), count));
   for (std::size_t i = 0; i < count; ++i)
   {
      if (i == states.size())
         states.emplace_back();
      if (!states[i].readBin(stream))
      {
         states.resize(i);
         return false;
      }
   }
   return true;
}

template <class State>
bool writeStates(std::ostream& stream, const std::vector<State>& states)
{
   return ZqStateValues::writeCount(stream, states.size()) &&
          std::all_of(states.begin(), states.end(),
                      [&](const State& state) { return state.writeBin(stream); });
}

template <class State>
bool approxEqStates(const std::vector<State>& a, const std::vector<State>& b, ZqReal tolerance)
{
   return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                     [tolerance](const State& x, const State& y)
                     { return x.approxEq(y, tolerance); });
}

void reject(const char* message)
{
   Zq::Print::instance().write(Zq::Rejected, "%s", message);
}

/// Tells of velocities that do not fit the positions. Those that are not there at all are zero.
void reportRepair(bool areMissing, const ZqString& what, const char* message)
{
   const Zq::Severity severity = areMissing ? Zq::Severity::Note : Zq::Severity::Warning;
   Zq::Print::instance().report(Zq::Rejected, {severity, "state-size", {}, 0, {}, what}, message);
}
} // namespace

const ZqManipulatorSystemState& ZqManipulatorSystemState::nullObject()
{
   // Never destroyed, so that it serves the destructors of static objects as well.
   static const auto& object = *new ZqManipulatorSystemState();
   return object;
}

bool ZqManipulatorSystemState::read(ZqXmlReader& reader)
{
   const bool isRead = ZqXmlCompoundType::read(reader);
   validateTopLevelDimensions();
   validateLowLevelDimensions();
   return isRead;
}

ZqBoolean ZqManipulatorSystemState::mergeWith(const ZqManipulatorSystemState& other)
{
   m_positionStates.append(other.m_positionStates);
   m_velocityStates.append(other.m_velocityStates);
   return true;
}

void ZqManipulatorSystemState::zeroVelocityStates()
{
   for (ZqVelocityState& state : m_velocityStates)
   {
      state.setGeneralVelocity(ZqGeneralMotion::nullObject());
      ZqRealVector& velocities = state.jointVelocities().values();
      std::fill(velocities.begin(), velocities.end(), 0.0);
   }
}

bool ZqManipulatorSystemState::approxEq(const ZqManipulatorSystemState& other, ZqReal tolerance,
                                        bool compareTime) const
{
   return (!compareTime || ZqStateValues::approxEq(m_time, other.m_time, tolerance)) &&
          m_positionStates.size() == other.m_positionStates.size() &&
          m_velocityStates.size() == other.m_velocityStates.size() &&
          approxEqStates(m_positionStates.vectorContainer(),
                         other.m_positionStates.vectorContainer(), tolerance) &&
          approxEqStates(m_velocityStates.vectorContainer(),
                         other.m_velocityStates.vectorContainer(), tolerance);
}

ZqBoolean ZqManipulatorSystemState::readBin(std::istream& stream)
{
   std::array<ZqReal, 1> time;
   if (!ZqSpatialBinary::read(stream, time))
      return false;
   m_time = time[0];
   return readStates(stream, m_positionStates.vectorContainer()) &&
          readStates(stream, m_velocityStates.vectorContainer());
}

ZqBoolean ZqManipulatorSystemState::writeBin(std::ostream& stream) const
{
   return ZqSpatialBinary::write(stream, std::array{m_time}) &&
          writeStates(stream, m_positionStates.vectorContainer()) &&
          writeStates(stream, m_velocityStates.vectorContainer());
}

ZqBoolean ZqManipulatorSystemState::linearInterpolation(const ZqManipulatorSystemState& first,
                                                        const ZqManipulatorSystemState& second,
                                                        ZqReal time)
{
   const ZqReal t1 = first.m_time;
   const ZqReal t2 = second.m_time;
   // A second state that is this one must last until it is blended.
   if (this != &first && this != &second)
      *this = first;
   linearFactorInterpolation(first, second, t1 == t2 ? 0.0 : (time - t1) / (t2 - t1));
   m_time = time;
   return t1 != t2;
}

ZqBoolean ZqManipulatorSystemState::linearFactorInterpolation(
   const ZqManipulatorSystemState& first, const ZqManipulatorSystemState& second, ZqReal factor)
{
   if (this != &first)
   {
      // Number by number, a second state that is this one is blended in place. What it cannot blend
      // has to become that of the first.
      if (this != &second)
         *this = first;
      else if (!checkCompatibleState(first))
         return linearFactorInterpolation(first, ZqManipulatorSystemState(second), factor);
   }
   if (first.m_positionStates.size() != second.m_positionStates.size())
   {
      reject("ZqManipulatorSystemState::linearFactorInterpolation: positionStates size mismatch.");
      return false;
   }
   for (std::size_t i = 0; i < m_positionStates.size(); ++i)
      m_positionStates[i].linearInterpolation(first.m_positionStates[i], second.m_positionStates[i],
                                              factor);
   const std::size_t velocityCount =
      std::min(first.m_velocityStates.size(), second.m_velocityStates.size());
   for (std::size_t i = 0; i < velocityCount; ++i)
      m_velocityStates[i].linearInterpolation(first.m_velocityStates[i], second.m_velocityStates[i],
                                              factor);
   m_time = ZqStateValues::blend(first.m_time, second.m_time, factor);
   return true;
}

bool ZqManipulatorSystemState::checkCompatibleState(const ZqManipulatorSystemState& other) const
{
   return std::equal(m_positionStates.begin(), m_positionStates.end(),
                     other.m_positionStates.begin(), other.m_positionStates.end(),
                     [](const ZqPositionState& a, const ZqPositionState& b)
                     { return a.jointPositions().size() == b.jointPositions().size(); }) &&
          std::equal(m_velocityStates.begin(), m_velocityStates.end(),
                     other.m_velocityStates.begin(), other.m_velocityStates.end(),
                     [](const ZqVelocityState& a, const ZqVelocityState& b)
                     { return a.jointVelocities().size() == b.jointVelocities().size(); });
}

bool ZqManipulatorSystemState::validateTopLevelDimensions()
{
   if (m_positionStates.size() == m_velocityStates.size())
      return true;
   reportRepair(m_velocityStates.size() == 0,
                std::to_string(m_velocityStates.size()) + " velocity states for " +
                   std::to_string(m_positionStates.size()) + " position states: made as many",
                "ZqManipulatorSystemState::validateTopLevelDimensions(): number of position states "
                "does not match the velocity states--correcting.\n");
   m_velocityStates.resize(m_positionStates.size());
   return false;
}

bool ZqManipulatorSystemState::validateLowLevelDimensions()
{
   bool isValid = true;
   const std::size_t count = std::min(m_positionStates.size(), m_velocityStates.size());
   for (std::size_t i = 0; i < count; ++i)
   {
      const unsigned jointCount = m_positionStates[i].jointPositions().size();
      ZqXmlVectorBasicType<ZqReal>& velocities = m_velocityStates[i].jointVelocities();
      if (velocities.size() == jointCount)
         continue;
      reportRepair(velocities.size() == 0,
                   std::to_string(velocities.size()) + " joint velocities for the " +
                      std::to_string(jointCount) + " joint positions of manipulator " +
                      std::to_string(i) + ": made as many",
                   "ZqManipulatorSystemState::validateLowLevelDimensions: joint positions do "
                   "notmatch joint velocities--correcting.\n");
      velocities.resize(jointCount);
      isValid = false;
   }
   return isValid;
}

namespace
{
/// The states of manipulators in their new places, and in each the values of the joints that came there,
/// as they are told now.
template <class State, class Values, class Restate>
void follow(ZqXmlVectorType<State>& states, const ZqModelEdit& edit, ZqReal filling,
            const Values& valuesOf, const Restate& restated)
{
   std::vector<State> result = edit.manipulators().moved(states.vectorContainer(), {});
   for (State& state : result)
      valuesOf(state).clear();
   for (ZqU32 i = 0; i < states.size(); ++i)
   {
      const std::vector<ZqReal>& values = valuesOf(states[i]);
      for (ZqU32 j = 0; j < values.size(); ++j)
         if (const auto place = edit.place({i, j}); place && place->linkIndex < ZqBaseLinkIndex)
         {
            if (result.size() <= place->manipulatorIndex)
               result.resize(place->manipulatorIndex + std::size_t{1});
            std::vector<ZqReal>& target = valuesOf(result[place->manipulatorIndex]);
            if (target.size() <= place->linkIndex)
               target.resize(place->linkIndex + std::size_t{1}, filling);
            target[place->linkIndex] = restated(edit.restatement({i, j}), values[j]);
         }
   }
   states.vectorContainer() = std::move(result);
}
} // namespace

void ZqManipulatorSystemState::apply(const ZqModelEdit& edit)
{
   if (edit.isIdentity())
      return;
   follow(
      m_positionStates, edit, 1e-9,
      [](ZqPositionState& state) -> std::vector<ZqReal>&
      { return state.jointPositions().values(); },
      [](const ZqLinkRestatement& restatement, ZqReal q) { return restatement.position(q); });
   follow(
      m_velocityStates, edit, 0.0,
      [](ZqVelocityState& state) -> std::vector<ZqReal>&
      { return state.jointVelocities().values(); },
      [](const ZqLinkRestatement& restatement, ZqReal qd) { return restatement.jointSign * qd; });
}
