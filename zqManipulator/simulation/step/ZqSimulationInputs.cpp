#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>

namespace
{
bool reject(const char* name, const char* reason)
{
   Zq::Print::instance().write(Zq::Rejected, "ZqSimulation::%s(): %s.\n", name, reason);
   return false;
}

bool isNumber(ZqReal value)
{
   return std::isfinite(value);
}

bool isForceFinite(const ZqGeneralForce& force)
{
   for (std::size_t k = 0; k < 6; ++k)
      if (!std::isfinite(force[k]))
         return false;
   return true;
}

bool isForceZero(const ZqGeneralForce& force)
{
   return force == ZqGeneralForce();
}

constexpr const char* noPlace = "there is no such place";
constexpr const char* notFinite = "a number is not finite";
constexpr const char* tooMany = "there are more numbers than joints";
} // namespace

bool ZqSimulation::isPlace(const Place& place) const
{
   return place.manipulator < m_members.size() &&
          (place.link == ZqBaseLinkIndex ||
           place.link < m_members[place.manipulator].joints.size());
}

bool ZqSimulation::setCommands(const std::vector<ZqReal>& commands)
{
   return setInputs(&Joint::command, commands, "setCommands");
}

bool ZqSimulation::setTorques(const std::vector<ZqReal>& torques)
{
   return setInputs(&Joint::torque, torques, "setTorques");
}

bool ZqSimulation::setCommand(const Place& joint, ZqReal command)
{
   return setInput(joint, &Joint::command, command, "setCommand");
}

bool ZqSimulation::setTorque(const Place& joint, ZqReal torque)
{
   return setInput(joint, &Joint::torque, torque, "setTorque");
}

bool ZqSimulation::setInputs(ZqReal Joint::*input, const std::vector<ZqReal>& values,
                             const char* name)
{
   std::size_t jointCount = 0;
   for (const Member& member : m_members)
      jointCount += member.joints.size();
   if (values.size() > jointCount)
      return reject(name, tooMany);
   if (!std::all_of(values.begin(), values.end(), isNumber))
      return reject(name, notFinite);
   dropPresent();
   std::size_t i = 0;
   for (Member& member : m_members)
      for (Joint& joint : member.joints)
         joint.*input = Zq::valueOrZero(values, i++);
   return true;
}

bool ZqSimulation::setInput(const Place& place, ZqReal Joint::*input, ZqReal value,
                            const char* name)
{
   if (!isPlace(place) || place.link == ZqBaseLinkIndex)
      return reject(name, noPlace);
   if (!isNumber(value))
      return reject(name, notFinite);
   dropPresent();
   m_members[place.manipulator].joints[place.link].*input = value;
   return true;
}

bool ZqSimulation::setExternalForces(ZqU32 manipulator, const ZqManipulatorExternalForce& forces)
{
   constexpr const char* name = "setExternalForces";
   if (manipulator >= m_members.size())
      return reject(name, noPlace);
   Member& member = m_members[manipulator];
   const auto& linkForces = forces.linkForces();
   if (linkForces.size() > member.joints.size())
      return reject(name, tooMany);
   for (ZqU32 i = 0; i < linkForces.size(); ++i)
      if (!isForceFinite(linkForces[i]))
         return reject(name, notFinite);
   if (!isForceFinite(forces.baseForce()))
      return reject(name, notFinite);
   member.externalForce.setToZeros();
   for (ZqU32 i = 0; i < linkForces.size(); ++i)
      member.externalForce[i] = linkForces[i];
   return setExternalForce({manipulator, ZqBaseLinkIndex}, forces.baseForce());
}

bool ZqSimulation::setExternalForce(const Place& place, const ZqGeneralForce& force)
{
   constexpr const char* name = "setExternalForce";
   if (!isPlace(place))
      return reject(name, noPlace);
   if (!isForceFinite(force))
      return reject(name, notFinite);
   dropPresent();
   Member& member = m_members[place.manipulator];
   member.externalForce[place.link] = force;
   member.force = member.externalForce;
   member.isPushed = !isForceZero(member.externalForce.baseForce());
   for (ZqU32 i = 0; i < member.joints.size(); ++i)
      member.isPushed = member.isPushed || !isForceZero(member.externalForce[i]);
   return true;
}

ZqReal ZqSimulation::inputOf(const Place& place, ZqReal Joint::*input) const
{
   if (!isPlace(place) || place.link == ZqBaseLinkIndex)
      return 0.0;
   return m_members[place.manipulator].joints[place.link].*input;
}

ZqReal ZqSimulation::command(const Place& joint) const
{
   return inputOf(joint, &Joint::command);
}

ZqReal ZqSimulation::torque(const Place& joint) const
{
   return inputOf(joint, &Joint::torque);
}

ZqGeneralForce ZqSimulation::externalForce(const Place& place) const
{
   if (!isPlace(place))
      return {};
   return *m_members[place.manipulator].externalForce.forceOn(place.link);
}
