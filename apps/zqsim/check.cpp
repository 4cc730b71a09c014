#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"
#include "zqManipulator/kinematics/ZqStatedSystemStruct.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <set>
#include <vector>

namespace
{
using namespace zqsim;

/// A scene, the frames of its state, and what is odd about it.
class Inspection
{
public:
   explicit Inspection(const ZqStatedSystem& scene) : m_scene(scene)
   {
      m_active.setNonredundantState(scene.state());
   }

   const ZqStatedSystem& scene() const { return m_scene; }
   const ZqIndividualManipulator& manipulator(ZqU32 index) const
   {
      return m_scene.system().manipulators()[index];
   }
   ZqManipulatorActivePositionState& activeState(ZqU32 index)
   {
      return m_active.manipulatorActiveStateVector()[index].activePositionState();
   }

   /// Of no manipulator or link, when these are empty.
   void report(const std::string& message, const ZqString& manipulator = {},
               const ZqString& link = {})
   {
      const auto orNull = [](const ZqString& label)
      { return label.empty() ? Json() : Json(label); };
      m_findings.push_back(
         {{"manipulator", orNull(manipulator)}, {"link", orNull(link)}, {"message", message}});
   }
   const Json& findings() const { return m_findings; }

private:
   const ZqStatedSystem& m_scene;
   ZqSystemActiveState m_active;
   Json m_findings = Json::array();
};

std::string quoted(const ZqString& label)
{
   return '"' + label + '"';
}

bool isReference(const ZqIndividualManipulator& manipulator)
{
   return manipulator.manipulatorReferenceDescription().isManipulatorReferenced();
}

bool isFinite(const ZqVector& vector)
{
   return std::isfinite(vector.x()) && std::isfinite(vector.y()) && std::isfinite(vector.z());
}

bool isFinite(const ZqCoordinateSystemTransformation& frame)
{
   return isFinite(frame.translation()) && std::isfinite(frame.orientation().w()) &&
          isFinite(frame.orientation().vectorPart());
}

bool isFinite(const ZqXmlVectorBasicType<ZqReal>& numbers)
{
   return std::all_of(numbers.values().begin(), numbers.values().end(),
                      [](ZqReal number) { return std::isfinite(number); });
}

// References of manipulators

/// Whether one who follows the references from a manipulator comes back to it.
bool isInCycle(const Inspection& inspection, const ZqIndividualManipulator& start)
{
   const ZqIndividualManipulator* manipulator = &start;
   for (ZqU32 steps = 0; steps < inspection.scene().numberOfManipulators(); ++steps)
   {
      if (manipulator == nullptr || !isReference(*manipulator))
         return false;
      manipulator = inspection.scene().manipulatorByIdentifier(
         manipulator->manipulatorReferenceDescription().referencedManipulatorLabel());
      if (manipulator == &start)
         return true;
   }
   return false;
}

void checkReference(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   if (!isReference(manipulator))
      return;
   const ZqString& label =
      manipulator.manipulatorReferenceDescription().referencedManipulatorLabel();
   const ZqIndividualManipulator* target = inspection.scene().manipulatorByIdentifier(label);
   const auto report = [&](const std::string& what)
   { inspection.report("is a reference to " + what, manipulator.manipulatorLabel()); };
   if (target == nullptr)
      report(quoted(label) + ", which does not exist");
   else if (target == &manipulator)
      report("itself");
   else if (isInCycle(inspection, manipulator))
      report(quoted(label) + ", in a cycle of references");
   else if (isReference(*target))
      report(quoted(label) + ", which is a reference itself");
   else if (!(manipulator.coordSysXForm() == target->coordSysXForm()))
      report(quoted(label) + ", which has another place in the system; the links stand in that");
}

// Attachments

void checkAttachments(Inspection& inspection, const ZqManipulatorAttachmentNode& node)
{
   constexpr ZqReal tolerance = 1e-6;
   const ZqStatedSystem& scene = inspection.scene();
   const ZqIndividualManipulator* carrier = scene.manipulatorByIndex(node.manipulatorIndex());
   for (const ZqManipulatorAttachmentNode& child : node.childNodes())
   {
      checkAttachments(inspection, child);
      const ZqIndividualManipulator* attached = scene.manipulatorByIndex(child.manipulatorIndex());
      // What hangs on the system itself stands where its state says.
      if (carrier == nullptr || attached == nullptr)
         continue;
      const ZqManipulatorLink* link = carrier->linkByIdentifier(child.linkLabel());
      if (link == nullptr)
      {
         inspection.report("is attached to link " + quoted(child.linkLabel()) + " of " +
                              quoted(carrier->manipulatorLabel()) + ", which does not exist",
                           attached->manipulatorLabel());
         continue;
      }
      const auto place =
         attached->coordSysXForm().inverse() *
         (link->primaryFrameInSystem(inspection.activeState(node.manipulatorIndex())) *
          child.offset());
      const auto& saved = scene.state().positionStates()[child.manipulatorIndex()].coordSysXForm();
      if (!place.approxEq(saved, tolerance))
         inspection.report("the base is not where it is attached, on link " +
                              quoted(child.linkLabel()) + " of " +
                              quoted(carrier->manipulatorLabel()),
                           attached->manipulatorLabel());
   }
}

// The models of manipulators

void checkLabels(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   if (isReference(manipulator))
      return;
   std::set<ZqString> labels{manipulator.linkLabel()};
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      if (!labels.insert(link->linkLabel()).second)
         inspection.report("the label is that of another link too", manipulator.manipulatorLabel(),
                           link->linkLabel());
}

bool hasMass(const ZqRigidBodyMassProperties& body)
{
   const ZqSecondMoment& moment = body.secondMoment();
   return body.mass() > ZqRigidBodyMassProperties::smallestMass ||
          moment.xx() + moment.yy() + moment.zz() > 0.0;
}

/// What can move and has no inertia takes any acceleration: a free base, and a link with all that it
/// carries.
void checkMasses(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const ZqStatedSystemStruct scene(&inspection.scene(), index);
   const ZqManipulatorLink& base = manipulator.concreteReference();
   if (!manipulator.isFixedBase() &&
       !(base.massProperties(&scene).mass() > ZqRigidBodyMassProperties::smallestMass))
      inspection.report("the base is free and has no mass", manipulator.manipulatorLabel(),
                        base.linkLabel());

   const auto& links = manipulator.linkPointerVector();
   std::vector<bool> carriesMass(links.size());
   for (std::size_t i = links.size(); i-- > 0;)
   {
      const ZqManipulatorLink& link = *links[i];
      const ZqManipulatorLink* parent = link.parentLink();
      carriesMass[i] = carriesMass[i] || hasMass(link.massProperties(&scene));
      if (carriesMass[i] && parent != nullptr && parent->linkIndex() < i)
         carriesMass[parent->linkIndex()] = true;
      const ZqJointActuator& drive = link.jointActuator();
      if (!carriesMass[i] && !(drive.effectiveInertia(drive.inertia()) > 0.0))
         inspection.report("neither the link nor what it carries has mass",
                           manipulator.manipulatorLabel(), link.linkLabel());
   }
}

// The state

void checkLimits(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const auto& positions = inspection.scene().state().positionStates()[index].jointPositions();
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const ZqReal lower = link->jointActuator().lowerLimit();
      const ZqReal upper = link->jointActuator().upperLimit();
      const ZqReal q = positions[link->linkIndex()];
      const auto report = [&](const std::string& what)
      { inspection.report(what, manipulator.manipulatorLabel(), link->linkLabel()); };
      if (!(lower <= upper))
         report("the limits, " + exact(lower) + " and " + exact(upper) + ", leave no position");
      else if (!(lower <= q))
         report("the joint position, " + exact(q) + ", is below the limit, " + exact(lower));
      else if (!(q <= upper))
         report("the joint position, " + exact(q) + ", is above the limit, " + exact(upper));
   }
}

void checkFinite(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const ZqManipulatorSystemState& state = inspection.scene().state();
   const ZqPositionState& position = state.positionStates()[index];
   const ZqVelocityState& velocity = state.velocityStates()[index];
   if (!isFinite(position.jointPositions()) || !isFinite(position.coordSysXForm()) ||
       !isFinite(velocity.jointVelocities()) || !isFinite(velocity.generalVelocity().linear()) ||
       !isFinite(velocity.generalVelocity().angular()))
      inspection.report("the state is not finite", manipulator.manipulatorLabel());
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      if (!isFinite(link->primaryFrameInSystem(inspection.activeState(index))))
         inspection.report("the frame of the link is not finite", manipulator.manipulatorLabel(),
                           link->linkLabel());
}

// Exclusions from collision

/// Reports, each once, names of manipulators and links that there are not.
class NameCheck
{
public:
   NameCheck(Inspection& inspection, std::string place)
      : m_inspection(inspection), m_place(std::move(place))
   {
   }
   void operator()(ZqU32 manipulator)
   {
      if (m_inspection.scene().manipulatorByIndex(manipulator) == nullptr)
         report(ZqManipulatorLinkIdentifier(manipulator, ""));
   }
   void operator()(const ZqManipulatorLinkIdentifier& link)
   {
      const auto* manipulator = m_inspection.scene().manipulatorByIndex(link.manipulatorId());
      if (manipulator == nullptr)
         (*this)(link.manipulatorId());
      else if (manipulator->linkByIdentifier(link.linkId()) == nullptr)
         report(link);
   }
   template <class Map>
   void checkAll(const Map& exclusions)
   {
      for (const auto& [key, excluded] : exclusions.mapContainer())
      {
         (*this)(key);
         for (const auto& name : excluded.setContainer())
            (*this)(name);
      }
   }

private:
   void report(const ZqManipulatorLinkIdentifier& missing)
   {
      if (!m_reported.insert(missing).second)
         return;
      const auto* manipulator = m_inspection.scene().manipulatorByIndex(missing.manipulatorId());
      if (manipulator == nullptr)
         m_inspection.report(m_place + " name manipulator " +
                             std::to_string(missing.manipulatorId()) + ", which does not exist");
      else
         m_inspection.report(m_place + " name link " + quoted(missing.linkId()) +
                                ", which does not exist",
                             manipulator->manipulatorLabel());
   }

   Inspection& m_inspection;
   std::string m_place;
   std::set<ZqManipulatorLinkIdentifier> m_reported;
};

void checkExclusions(Inspection& inspection)
{
   struct Place
   {
      const char* name;
      const ZqSystemCollisionExclusionMap& map;
   };
   const ZqManipulatorSystemConfiguration& configuration = inspection.scene().configuration();
   for (const Place& place : {Place{"the collision exclusions of the system",
                                    inspection.scene().system().collisionExclusionMap()},
                              Place{"the collision exclusions of the configuration",
                                    configuration.collisionExclusionMap()},
                              Place{"the exclusions for collision avoidance",
                                    configuration.collisionExclusionMapForCA()}})
   {
      NameCheck check(inspection, place.name);
      check.checkAll(place.map.manipulatorExclusionMap());
      check.checkAll(place.map.linkManipulatorExclusionMap());
      check.checkAll(place.map.linkExclusionMap());
   }
}

void checkSelfCollision(Inspection& inspection, ZqU32 index)
{
   NameCheck check(inspection, "the pairs for self collision");
   const auto& map = inspection.manipulator(index).selfCollisionLinkMap();
   for (const auto& [label, row] : map.mapContainer())
   {
      check(ZqManipulatorLinkIdentifier(index, label));
      for (const auto& [other, isCandidate] : row.mapContainer())
         check(ZqManipulatorLinkIdentifier(index, other));
   }
}

Json inspect(const ZqStatedSystem& scene)
{
   constexpr std::array checksOfManipulator{checkReference, checkLabels, checkMasses,
                                            checkLimits,    checkFinite, checkSelfCollision};
   Inspection inspection(scene);
   if (!std::isfinite(scene.state().time()))
      inspection.report("the time is not finite");
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      for (const auto check : checksOfManipulator)
         check(inspection, i);
   for (const ZqManipulatorAttachmentNode& root : scene.configuration().attachmentMap().baseNodes())
      checkAttachments(inspection, root);
   checkExclusions(inspection);
   return inspection.findings();
}

/// One line for each repair and finding, with its place in front.
std::string describe(const Json& data)
{
   const std::string model = text(data.at("model"));
   std::string result;
   for (const Json& repair : data.at("repairs"))
   {
      result += model;
      if (!repair.at("line").is_null())
         result += ':' + text(repair.at("line"));
      result += ": repaired: " + text(repair.at("message")) + '\n';
   }
   for (const Json& finding : data.at("findings"))
   {
      result += model + ": ";
      if (!finding.at("manipulator").is_null())
         result += text(finding.at("manipulator"));
      if (!finding.at("link").is_null())
         result += ", link " + text(finding.at("link"));
      result +=
         (finding.at("manipulator").is_null() ? "" : ": ") + text(finding.at("message")) + '\n';
   }
   return result.empty() ? model + ": nothing to complain of\n" : result;
}
} // namespace

zqsim::Run zqsim::check(CLI::App& arguments)
{
   const auto options = std::make_shared<ModelArguments>();
   options->declare(arguments);
   return [options]
   {
      ZqStatedSystem scene;
      Json repairs = Json::array();
      for (const Message& message : readModel(options->model, scene))
         repairs.push_back(
            {{"line", message.line != 0 ? Json(message.line) : Json()}, {"message", message.text}});
      const Json data{
         {"model", options->model}, {"repairs", repairs}, {"findings", inspect(scene)}};
      if (options->json)
         print(data);
      else
         print(describe(data));
      return repairs.empty() && data.at("findings").empty() ? Done : Findings;
   };
}
