#include "apps/replay/replay.h"

#include "apps/replay/numbers.h"
#include "apps/replay/replayShapes.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <span>
#include <utility>

namespace
{
using namespace zqReplay;
using Frame = ZqCoordinateSystemTransformation;
using Place = ZqSimulation::Place;

constexpr std::size_t numbersOfPose = 7;
constexpr std::size_t numbersOfContact = 8;

std::array<ZqReal, numbersOfPose> numbersOf(const Frame& frame)
{
   const ZqVector& t = frame.translation();
   const ZqOrientation& q = frame.orientation();
   return {t.x(), t.y(), t.z(), q.w(), q.x(), q.y(), q.z()};
}

bool areFinite(const auto& numbers)
{
   return std::all_of(numbers.begin(), numbers.end(),
                      [](ZqReal number) { return std::isfinite(number); });
}

const Frame& frameOf(ZqSimulation& simulation, const Place& place)
{
   ZqManipulatorActiveState& state =
      simulation.present().manipulatorActiveStateVector()[place.manipulator];
   return simulation.linkAt(place)->primaryFrameInSystem(state.activePositionState());
}

std::vector<ZqReal> energiesOf(ZqSimulation& simulation)
{
   const ZqEnergyBook book = simulation.energyBook();
   std::vector<ZqReal> energies;
   ZqEnergyBook::forEachPart(book, [&](const char*, ZqReal value) { energies.push_back(value); });
   return energies;
}

std::string coded(const auto& numbers)
{
   return base64(std::span(numbers));
}

/// Of a point of a contact on the second body, in axes of the system; the frame is that of the first one.
ZqVector forceOf(const Frame& frame, const ZqContactPoint& at,
                 const ZqContactResponse::Point& point)
{
   return frame.orientation() * at.normal * point.normalForce - point.friction;
}

Json upOf(const ZqSimulation& simulation)
{
   const ZqVector& gravity = simulation.system().environment().upGravityVector();
   const ZqReal size = gravity.mag();
   const ZqVector up =
      size > 0.0 && std::isfinite(size) ? gravity * (1.0 / size) : ZqVector(0.0, 0.0, 1.0);
   return {up.x(), up.y(), up.z()};
}

/// Null for none.
Json limit(ZqReal value)
{
   constexpr ZqReal none = 1e300;
   return std::abs(value) < none ? Json(value) : Json();
}

/// In the link's frame; null where it has no mass.
Json centerOfMass(const ZqManipulatorLink& link)
{
   const ZqRigidBodyMassProperties& body = link.massProperties();
   ZqVector center;
   body.getCenterOfMass(center);
   const std::array numbers{center.x(), center.y(), center.z()};
   return body.mass() > 0.0 && areFinite(numbers) ? Json(numbers) : Json();
}

/// JSON has these characters in texts alone, where they may as well stand by their number.
std::string withoutMarkup(const std::string& json)
{
   std::string result;
   result.reserve(json.size());
   for (const char c : json)
      if (c == '<')
         result += "\\u003c";
      else if (c == '>')
         result += "\\u003e";
      else if (c == '&')
         result += "\\u0026";
      else
         result += c;
   return result;
}

/// The first of the rows of numbers stays, and every second one after it.
template <class Number>
void keepEverySecond(std::vector<Number>& numbers, std::size_t width)
{
   if (width == 0)
      return;
   auto end = numbers.begin();
   for (std::size_t row = 0; row * width < numbers.size(); row += 2)
      end = std::copy_n(numbers.begin() + static_cast<std::ptrdiff_t>(row * width), width, end);
   numbers.erase(end, numbers.end());
}
} // namespace

zqReplay::Recording::Recording(ZqSimulation& simulation, const Settings& settings)
   : m_settings(settings), m_period(1.0 / settings.frameRate)
{
   listBodies(simulation);
   Json bodies = Json::array();
   Json joints = Json::array();
   std::size_t roundMeshes = 0;
   for (const Body& body : m_bodies)
      roundMeshes += countRoundMeshes(*simulation.linkAt(body.place));
   const Fineness fineness = Fineness::forShapes(roundMeshes);
   for (const Body& body : m_bodies)
   {
      const ZqU32 i = body.place.manipulator;
      const ZqManipulatorLink& link = *simulation.linkAt(body.place);
      const bool isBase = body.place.link == ZqBaseLinkIndex;
      const std::string name =
         simulation.system().manipulators()[i].manipulatorLabel() + '/' + link.linkLabel();
      Json data{{"name", name}, {"manipulator", i}, {"parent", nullptr}};
      if (!isBase)
      {
         const ZqManipulatorLink& parent = *link.parentLink();
         data["parent"] = indexOf({i, parent.linkIndex()});
         joints.push_back({{"body", bodies.size()},
                           {"name", name},
                           {"unit", link.linkKinematicsContainer().unitType() == 0 ? "m" : "rad"},
                           {"lower", limit(link.jointActuator().lowerLimit())},
                           {"upper", limit(link.jointActuator().upperLimit())}});
      }
      if (body.isStill)
      {
         const auto pose = numbersOf(frameOf(simulation, body.place));
         data["pose"] = areFinite(pose) ? pose : numbersOf(Frame());
      }
      data["shapes"] = drawShapes(link, fineness);
      if (data["shapes"].empty())
         data["centerOfMass"] = centerOfMass(link);
      bodies.push_back(std::move(data));
   }
   m_jointCount = joints.size();
   const Json head{{"format", 1},
                   {"title", settings.title},
                   {"up", upOf(simulation)},
                   {"bodies", std::move(bodies)},
                   {"joints", std::move(joints)}};
   m_head = withoutMarkup(head.dump(-1, ' ', true, Json::error_handler_t::replace));
}

void zqReplay::Recording::listBodies(ZqSimulation& simulation)
{
   const ZqStatedSystem scene = simulation.scene();
   for (ZqU32 i = 0; i < simulation.system().numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = simulation.system().manipulators()[i];
      const bool isAttached = scene.configuration().attachmentMap().findNode(i) != nullptr;
      m_firstBody.push_back(m_bodies.size());
      m_bodies.push_back({{i, ZqBaseLinkIndex}, manipulator.isFixedBase() && !isAttached});
      m_poseCount += !m_bodies.back().isStill;
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      {
         m_bodies.push_back({{i, link->linkIndex()}, false});
         ++m_poseCount;
      }
   }
}

std::size_t zqReplay::Recording::indexOf(const ZqSimulation::Place& place) const
{
   return m_firstBody[place.manipulator] + (place.link == ZqBaseLinkIndex ? 0 : place.link + 1);
}

void zqReplay::Recording::sample(ZqSimulation& simulation)
{
   const ZqReal time = simulation.state().time();
   // Times of steps are off by their rounding.
   constexpr ZqReal tolerance = 1e-6;
   if (!m_times.empty() && time < m_due - tolerance * m_period)
      return;
   take(simulation);
}

void zqReplay::Recording::sampleLast(ZqSimulation& simulation)
{
   if (m_times.empty() || m_times.back() < simulation.state().time())
      take(simulation);
}

void zqReplay::Recording::take(ZqSimulation& simulation)
{
   const ZqReal time = simulation.state().time();
   const std::vector<ZqReal> poses = posesOf(simulation);
   const std::vector<ZqReal> values = jointPositionsOf(simulation);
   const std::vector<ZqReal> energies = energiesOf(simulation);
   if (!std::isfinite(time) || !areFinite(poses) || !areFinite(values) || !areFinite(energies))
      return;
   m_times.push_back(time);
   m_poses.insert(m_poses.end(), poses.begin(), poses.end());
   std::transform(values.begin(), values.end(), std::back_inserter(m_values), single);
   std::transform(energies.begin(), energies.end(), std::back_inserter(m_energies), single);
   if (simulation.settings().booksEnergy)
      m_remainders.push_back(single(simulation.energyBook().remainder()));
   for (const ZqSimulation::Contact& contact : simulation.contacts())
      takeContact(simulation, contact);
   m_contactStarts.push_back(static_cast<std::uint32_t>(m_contacts.size() / numbersOfContact));

   constexpr std::size_t fewFrames = 3;
   while (size() > m_settings.budget && m_times.size() > fewFrames)
      thin();
   // By multiples of the period, so that delays of frames do not add up.
   const ZqReal periods = std::floor((m_times.back() - m_times.front()) / m_period + 0.5);
   m_due = m_times.front() + (periods + 1.0) * m_period;
}

std::vector<ZqReal> zqReplay::Recording::posesOf(ZqSimulation& simulation) const
{
   std::vector<ZqReal> poses;
   poses.reserve(m_poseCount * numbersOfPose);
   for (const Body& body : m_bodies)
      if (!body.isStill)
      {
         const auto pose = numbersOf(frameOf(simulation, body.place));
         poses.insert(poses.end(), pose.begin(), pose.end());
      }
   return poses;
}

std::vector<ZqReal> zqReplay::Recording::jointPositionsOf(const ZqSimulation& simulation) const
{
   std::vector<ZqReal> positions;
   for (const Body& body : m_bodies)
      if (body.place.link != ZqBaseLinkIndex)
         positions.push_back(simulation.state()
                                .positionStates()[body.place.manipulator]
                                .jointPositions()[body.place.link]);
   return positions;
}

/// The points that overlap, each with its part of the force, which is what the law tells of it; what a law
/// tells of the contact as a whole, as friction by patches, is shared out by how the points press. A law that tells
/// nothing of points has one, with all of the force.
void zqReplay::Recording::takeContact(ZqSimulation& simulation,
                                      const ZqSimulation::Contact& contact)
{
   const ZqContactResponse& response = contact.record->response();
   const auto& manifold = std::as_const(*contact.record).manifold();
   const Frame& frame = frameOf(simulation, contact.first);
   // The record tells what acts on the first body.
   ZqVector rest = -(response.normalForce + response.frictionForce);
   ZqReal pressing = 0.0;
   for (int i = 0; i < response.pointCount; ++i)
   {
      const ZqContactResponse::Point& point = response.points[static_cast<std::size_t>(i)];
      pressing += point.normalForce;
      rest -= forceOf(frame, manifold.points[i], point);
   }
   const auto add = [&](const ZqVector& place, const ZqVector& force)
   {
      const ZqVector p = frame * place;
      const std::array numbers{p.x(), p.y(), p.z(), force.x(), force.y(), force.z()};
      if (!areFinite(numbers))
         return;
      std::transform(numbers.begin(), numbers.end(), std::back_inserter(m_contacts), single);
      for (const ZqSimulation::Place& side : {contact.first, contact.second})
         m_contacts.push_back(static_cast<float>(indexOf(side)));
   };
   if (!(pressing > 0.0))
   {
      if (contact.points > 0)
         add(contact.record->contactPointRel1(), rest);
      return;
   }
   for (int i = 0; i < response.pointCount; ++i)
   {
      const ZqContactResponse::Point& point = response.points[static_cast<std::size_t>(i)];
      const ZqContactPoint& at = manifold.points[i];
      if (at.separation < 0.0)
         add(0.5 * (at.point1 + at.point2),
             forceOf(frame, at, point) + rest * (point.normalForce / pressing));
   }
}

/// Of the numbers of all frames (bytes).
std::size_t zqReplay::Recording::size() const noexcept
{
   return (m_times.size() + m_poses.size()) * sizeof(ZqReal) +
          (m_values.size() + m_energies.size() + m_remainders.size() + m_contacts.size()) *
             sizeof(float) +
          m_contactStarts.size() * sizeof(std::uint32_t);
}

void zqReplay::Recording::thin()
{
   const ZqReal last = static_cast<ZqReal>(m_times.size() - 1);
   // Steps may be longer than the period.
   m_period = 2.0 * std::max(m_period, (m_times.back() - m_times.front()) / last);
   std::vector<std::uint32_t> starts{0};
   std::vector<float> contacts;
   for (std::size_t k = 0; k < m_times.size(); k += 2)
   {
      const auto row = [&](std::size_t frame)
      {
         return m_contacts.begin() +
                static_cast<std::ptrdiff_t>(m_contactStarts[frame] * numbersOfContact);
      };
      contacts.insert(contacts.end(), row(k), row(k + 1));
      starts.push_back(static_cast<std::uint32_t>(contacts.size() / numbersOfContact));
   }
   keepEverySecond(m_remainders, 1);
   m_contactStarts = std::move(starts);
   m_contacts = std::move(contacts);
   keepEverySecond(m_times, 1);
   keepEverySecond(m_poses, m_poseCount * numbersOfPose);
   keepEverySecond(m_values, m_jointCount);
   keepEverySecond(m_energies, ZqEnergyBook::partCount);
}

zqReplay::Json zqReplay::Recording::energies() const
{
   std::vector<const char*> allNames;
   const ZqEnergyBook book;
   ZqEnergyBook::forEachPart(book, [&](const char* name, ZqReal) { allNames.push_back(name); });
   Json names = Json::array();
   std::vector<std::size_t> parts;
   for (std::size_t part = 0; part < ZqEnergyBook::partCount; ++part)
      for (std::size_t i = part; i < m_energies.size(); i += ZqEnergyBook::partCount)
         if (m_energies[i] != 0.0F)
         {
            names.push_back(allNames[part]);
            parts.push_back(part);
            break;
         }
   std::vector<float> rows;
   for (std::size_t frame = 0; frame < m_times.size(); ++frame)
      for (const std::size_t part : parts)
         rows.push_back(m_energies[frame * ZqEnergyBook::partCount + part]);
   return {{"names", names}, {"rows", coded(rows)}};
}

std::string zqReplay::Recording::json() const
{
   Json energies = this->energies();
   if (!m_remainders.empty())
      energies["remainder"] = coded(m_remainders);
   const Json frames{
      {"times", coded(m_times)},
      {"poses", coded(m_poses)},
      {"values", coded(m_values)},
      {"contacts", {{"starts", coded(m_contactStarts)}, {"rows", coded(m_contacts)}}},
      {"energies", energies}};
   std::string result = m_head;
   result.back() = ',';
   return result + frames.dump().substr(1);
}
