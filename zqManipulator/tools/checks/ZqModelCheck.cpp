#include "zqManipulator/tools/checks/ZqModelCheck.h"

#include "zqManipulator/contact/proximity/ZqProximityQuery.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralTypeLink.h"
#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
#include "zqManipulator/tools/checks/ZqDampingCheck.h"
#include "zqManipulator/tools/checks/ZqInteractionChecks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numbers>
#include <numeric>
#include <set>
#include <utility>
#include <vector>

namespace
{
using namespace zqChecks;

constexpr ZqReal pi = std::numbers::pi;

/// In m, rad: what positions of a scene may disagree by, and links that rest on each other overlap
/// by. Documents are typed by hand, and a state that a simulation leaves has its errors.
constexpr ZqReal placeTolerance = 1e-6;

/// Of the trace of a second moment: what numbers that were written with six digits leave.
constexpr ZqReal bodyTolerance = 1e-6;

// Texts

/// The shortest text that reads back as the number.
ZqString exact(ZqReal value)
{
   std::array<char, 32> digits{};
   const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
   return {digits.data(), end.ptr};
}

/// The radians of an angle that was given in degrees, with the part of pi that they are: "-pi/2".
ZqString radiansOf(ZqReal degrees)
{
   const ZqString radians = exact(degrees / 180.0 * pi) + " rad";
   for (const int parts : {1, 2, 3, 4, 6})
   {
      const ZqReal count = degrees / 180.0 * parts;
      if (std::round(count) != count)
         continue;
      const ZqString multiple = std::abs(count) == 1.0 ? "pi" : rounded(std::abs(count)) + " pi";
      return radians + " (" + (count < 0.0 ? "-" : "") + multiple +
             (parts > 1 ? "/" + std::to_string(parts) : "") + ')';
   }
   return radians;
}

// Numbers

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

bool isBeyondAFullTurn(ZqReal angle)
{
   return std::abs(angle) > 2.0 * pi;
}

// References of manipulators

bool isReference(const ZqIndividualManipulator& manipulator)
{
   return manipulator.manipulatorReferenceDescription().isManipulatorReferenced();
}

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
   const auto report = [&](Severity severity, const char* code, const ZqString& what)
   {
      inspection.report(severity, code, pathOf(manipulator) + "/manipulatorReferenceDescription",
                        "is a reference to " + what);
   };
   if (target == nullptr)
      report(Severity::Error, "reference-missing", quoted(label) + ", which does not exist");
   else if (target == &manipulator)
      report(Severity::Error, "reference-cycle", "itself");
   else if (isInCycle(inspection, manipulator))
      report(Severity::Error, "reference-cycle", quoted(label) + ", in a cycle of references");
   else if (isReference(*target))
      report(Severity::Error, "reference-chain", quoted(label) + ", which is a reference itself");
   else if (!(manipulator.coordSysXForm() == target->coordSysXForm()))
      report(Severity::Warning, "reference-elsewhere",
             quoted(label) + ", which has another place in the system; the links stand in that");
}

// Attachments

void checkAttachments(Inspection& inspection, const ZqManipulatorAttachmentNode& node)
{
   const ZqStatedSystem& scene = inspection.scene();
   const ZqIndividualManipulator* carrier = scene.manipulatorByIndex(node.manipulatorIndex());
   for (const ZqManipulatorAttachmentNode& child : node.childNodes())
   {
      checkAttachments(inspection, child);
      const ZqIndividualManipulator* attached = scene.manipulatorByIndex(child.manipulatorIndex());
      // What hangs on the system itself stands where its state says.
      if (carrier == nullptr || attached == nullptr)
         continue;
      const ZqString where =
         "link " + quoted(child.linkLabel()) + " of " + quoted(carrier->manipulatorLabel());
      const ZqManipulatorLink* link = carrier->linkByIdentifier(child.linkLabel());
      if (link == nullptr)
      {
         inspection.report(Severity::Error, "attachment-missing", pathOf(*attached),
                           "is attached to " + where + ", which does not exist");
         continue;
      }
      auto& carrierState = inspection.activeState(node.manipulatorIndex()).activePositionState();
      const auto place = attached->coordSysXForm().inverse() *
                         (link->primaryFrameInSystem(carrierState) * child.offset());
      const auto& saved =
         inspection.state().positionStates()[child.manipulatorIndex()].coordSysXForm();
      if (!place.approxEq(saved, placeTolerance))
         inspection.report(Severity::Warning, "attachment-elsewhere", pathOf(*attached),
                           "the base is not where it is attached, on " + where + ", but " +
                              rounded((place.translation() - saved.translation()).mag()) +
                              " m away or turned; a simulation begins where it is attached");
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
         inspection.report(Severity::Warning, "label-repeated", pathOf(manipulator, *link),
                           "the label is that of another link too");
}

bool hasMass(const ZqRigidBodyMassProperties& body)
{
   const ZqSecondMoment& moment = body.secondMoment();
   return body.mass() > ZqRigidBodyMassProperties::smallestMass ||
          moment.xx() + moment.yy() + moment.zz() > 0.0;
}

/// What can move and has no inertia takes any acceleration: a free base, and a link with all that
/// it carries.
void checkMasses(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const ZqStatedSystemStruct scene(&inspection.scene(), index);
   const ZqManipulatorLink& base = manipulator.concreteReference();
   if (!manipulator.isFixedBase() &&
       !(base.massProperties(&scene).mass() > ZqRigidBodyMassProperties::smallestMass))
      inspection.report(Severity::Error, "no-mass", pathOf(manipulator, base),
                        "the base is free and has no mass");

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
         inspection.report(Severity::Error, "no-mass", pathOf(manipulator, link),
                           "neither the link nor what it carries has mass");
   }
}

/// What the author of a body that cannot be may have meant: the moments that are mistaken for
/// others.
ZqString probableMeaning(const ZqRigidBodyMassProperties& body)
{
   ZqVector center;
   body.getCenterOfMass(center);
   ZqRigidBodyMassProperties aboutCenter;
   aboutCenter.set(body.mass(), ZqVector(), body.secondMoment(), false);
   aboutCenter.transformBy(center);
   ZqRigidBodyMassProperties centerAsMoment;
   centerAsMoment.set(body.mass(), body.firstMoment() * body.mass(), body.secondMoment(), false);
   ZqString result;
   if (aboutCenter.isPossible(bodyTolerance))
      result =
         "; it can be if the second moment, which counts about the origin of the frame, is meant "
         "about the center of mass";
   if (centerAsMoment.isPossible(bodyTolerance))
      result +=
         ZqString(result.empty() ? "; it can be" : ", or") +
         " if the first moment, which is mass times center of mass, is meant as the center of "
         "mass";
   return result;
}

void checkBody(Inspection& inspection, const ZqRigidBodyMassProperties& body, const ZqString& path)
{
   if (body.isPossible(bodyTolerance))
      return;
   ZqVector moments;
   const ZqString found = body.getPrincipalMoments(moments)
                             ? rounded(moments.x()) + ", " + rounded(moments.y()) + " and " +
                                  rounded(moments.z()) + " kg m^2"
                             : "not finite";
   inspection.report(Severity::Warning, "impossible-body", path,
                     "no body has such principal moments about its center of mass: " + found +
                        probableMeaning(body));
}

/// Each of the bodies that a link is made of.
void checkBodies(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   if (isReference(manipulator))
      return;
   const auto checkLink = [&](const ZqManipulatorLink& link)
   {
      const ZqString path = pathOf(manipulator, link);
      checkBody(inspection, link.baseMassProperties(), path + "/massProperties");
      for (const auto& [name, body] : link.massPropertiesMap().mapContainer())
         checkBody(inspection, body, path + "/massPropertiesMap/'" + Zq::oneLine(name) + "'");
   };
   checkLink(manipulator);
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      checkLink(*link);
}

void checkAngles(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   if (isReference(manipulator))
      return;
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const auto* joint =
         dynamic_cast<const ZqDenavitHartenberg*>(link->linkKinematicsContainer().topElement());
      if (joint == nullptr)
         continue;
      for (const auto& [name, angle] :
           {std::pair{"alpha", ZqReal(joint->dhAlpha())}, {"theta", ZqReal(joint->dhTheta())}})
         if (isBeyondAFullTurn(angle))
            inspection.report(
               Severity::Warning, "angle-in-degrees",
               pathOf(manipulator, *link) + "/linkKinematicsContainer/denavitHartenberg/" + name,
               "the angle, " + exact(angle) +
                  " rad, is beyond a full turn; meant as degrees it is " + radiansOf(angle));
   }
}

void checkLinkage(Inspection& inspection, const ZqQuadrilateralTypeLink& joint,
                  const ZqJointActuator& drive, const ZqString& path)
{
   const ZqString name = path + "/linkKinematicsContainer/quadrilateralTypeLink";
   if (!joint.pivotFrame())
      inspection.report(Severity::Warning, "linkage-frame", name,
                        "the frame of the link does not stand at its pivot, so that energy is not "
                        "kept and other links see it elsewhere; pivotFrame=\"true\" puts it there");
   const auto range = joint.closingRange();
   const ZqString closes = range ? "the linkage closes for positions from " +
                                      rounded(range->first) + " to " + rounded(range->second) + " m"
                                 : ZqString("the linkage closes for no length of the slider");
   if (!range || !(range->first <= drive.upperLimit() && drive.lowerLimit() <= range->second))
      inspection.report(Severity::Error, "linkage-open", name,
                        closes + (range ? ", and for none between the limits" : ""));
   else if (!(range->first <= drive.lowerLimit() && drive.upperLimit() <= range->second))
      inspection.report(Severity::Warning, "linkage-limits", name,
                        closes + "; the limits let it go beyond, where it lies flat");
}

void checkScrewsAndLinkages(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   if (isReference(manipulator))
      return;
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const ZqLinkKinematics* joint = link->linkKinematicsContainer().topElement();
      const ZqString path = pathOf(manipulator, *link);
      if (const auto* linkage = dynamic_cast<const ZqQuadrilateralTypeLink*>(joint))
         checkLinkage(inspection, *linkage, link->jointActuator(), path);
      const auto* screw = dynamic_cast<const ZqScrewTypeLink*>(joint);
      if (screw != nullptr && screw->pitch() == 0.0)
         inspection.report(Severity::Warning, "screw-without-pitch",
                           path + "/linkKinematicsContainer/screwTypeLink",
                           "the pitch, in turns per m, is 0: the joint slides and does not turn");
   }
}

// The state

void checkLimits(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const auto& positions = inspection.state().positionStates()[index].jointPositions();
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const ZqReal lower = link->jointActuator().lowerLimit();
      const ZqReal upper = link->jointActuator().upperLimit();
      const ZqReal q = positions[link->linkIndex()];
      const ZqString path = pathOf(manipulator, *link);
      if (!(lower <= upper))
      {
         inspection.report(Severity::Error, "limits-empty", path,
                           "the limits, " + exact(lower) + " and " + exact(upper) +
                              ", leave no position");
         continue;
      }
      if (lower <= q && q <= upper)
         continue;
      const bool isBelow = !(lower <= q);
      const bool mayBeDegrees =
         isBeyondAFullTurn(q) && link->linkKinematicsContainer().jointParameterScalability() == 0.0;
      inspection.report(
         Severity::Warning, "beyond-limit", path,
         "the joint position, " + exact(q) + ", is " +
            (isBelow ? "below the limit, " + exact(lower) : "above the limit, " + exact(upper)) +
            (mayBeDegrees ? "; meant as degrees it is " + radiansOf(q) : ""));
   }
}

/// Limits that depend on several joints.
void checkLimitsOfSeveral(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const ZqPositionState& position = inspection.state().positionStates()[index];
   std::vector<ZqU32> joints(manipulator.jointDof());
   std::iota(joints.begin(), joints.end(), 0);
   const ZqLinkEdit allOthersGo = ZqLinkEdit::moved(ZqRenumbering::to(joints), {}, ZqBaseLinkIndex);
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      for (const ZqStateConstraintContainer* limit :
           {&link->upperLimitConstraintContainer(), &link->lowerLimitConstraintContainer()})
      {
         ZqStateConstraintContainer copy = *limit;
         if (copy.topElement() == nullptr)
            continue;
         if (!copy.topElement()->apply(allOthersGo))
            inspection.report(Severity::Warning, "joint-missing", pathOf(manipulator, *link),
                              "a limit depends on a joint that the manipulator does not have, "
                              "which has " +
                                 std::to_string(joints.size()));
         const ZqReal value = limit->topElement()->evaluate(position);
         if (!(value >= -placeTolerance))
            inspection.report(Severity::Warning, "beyond-limit", pathOf(manipulator, *link),
                              "the joint positions are beyond a limit that depends on several: "
                              "its value is " +
                                 exact(value));
      }
}

void checkFinite(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const ZqManipulatorSystemState& state = inspection.state();
   const ZqPositionState& position = state.positionStates()[index];
   const ZqVelocityState& velocity = state.velocityStates()[index];
   if (!isFinite(position.jointPositions()) || !isFinite(position.coordSysXForm()) ||
       !isFinite(velocity.jointVelocities()) || !isFinite(velocity.generalVelocity().linear()) ||
       !isFinite(velocity.generalVelocity().angular()))
      inspection.report(Severity::Error, "not-finite", pathOf(manipulator),
                        "the state is not finite");
   auto& active = inspection.activeState(index).activePositionState();
   const auto checkFrame = [&](const ZqManipulatorLink& link)
   {
      if (!isFinite(link.primaryFrameInSystem(active)))
         inspection.report(Severity::Error, "not-finite", pathOf(manipulator, link),
                           "the frame of the link is not finite");
   };
   checkFrame(manipulator);
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      checkFrame(*link);
}

/// Constraints that the stored positions do not keep to, each with the length of its gap.
void checkLoops(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   const ZqStateEqualityConstraintVector& constraints = manipulator.stateEqualityConstraints();
   if (constraints.doc() == 0)
      return;
   ZqConstraintKinematics kinematics;
   constraints.getKinematics(manipulator, inspection.activeState(index), kinematics);
   std::vector<ZqReal> gaps(constraints.size());
   for (ZqU32 row = 0; row < kinematics.doc(); ++row)
      if (kinematics.hasGap[row])
      {
         ZqReal& gap = gaps[constraints.constraintOfRow(row)];
         gap = ZqVector(gap, kinematics.gap[row][0], 0.0).mag();
      }
   for (ZqU32 i = 0; i < gaps.size(); ++i)
      if (!(gaps[i] <= placeTolerance))
         inspection.report(Severity::Warning, "loop-open",
                           pathOf(manipulator) + "/stateEqualityConstraintVector",
                           constraints.description(i) + " is open by " + rounded(gaps[i]) +
                              " m in the stored state");
}

// Shapes

/// The code and the text of what is odd about a shape that is no union; null when nothing is.
std::pair<const char*, const char*> oddityOf(const ZqShape& shape)
{
   if (const auto* mesh = dynamic_cast<const ZqTriangleMesh*>(&shape))
   {
      if (mesh->triangleCount() == 0)
         return {"shape-without-size", "the mesh has no triangles"};
      if (!mesh->isClosed())
         return {"mesh-not-closed",
                 "the mesh is not closed: it has no inside, and neither a volume nor a mass"};
   }
   else if (shape.convex() != nullptr && !(shape.volume() > 0.0))
      return {"shape-without-size", "the shape has no volume"};
   return {};
}

/// Those of each link, where it has its own.
void checkShapes(Inspection& inspection, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = inspection.manipulator(index);
   if (isReference(manipulator))
      return;
   const auto checkLink = [&](const ZqManipulatorLink& link)
   {
      const ZqString path = pathOf(manipulator, link) + "/shapeContainer";
      std::vector<const ZqShape*> shapes;
      link.memberShapeContainer().collectShapes(shapes);
      if (shapes.empty() && link.memberShapeContainer().topElement() != nullptr)
         inspection.report(Severity::Warning, "shape-without-size", path, "the union is empty");
      for (std::size_t i = 0; i < shapes.size(); ++i)
         if (const auto [code, text] = oddityOf(*shapes[i]); code != nullptr)
            inspection.report(Severity::Warning, code, path + "/shape " + std::to_string(i), text);
   };
   checkLink(manipulator);
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      checkLink(*link);
}

/// The least extent of the box of a link's shape, along the axes of its primary frame (m).
ZqReal leastExtentOf(const ZqManipulatorLink& link)
{
   const ZqVector extents = link.shape()->axisAlignedBoundingBox({}).extents();
   return std::min({extents.x(), extents.y(), extents.z()});
}

/// Of links that may collide. Those between which contact makes forces rest in each other, but not deep.
void checkOverlaps(Inspection& inspection, bool hasContact)
{
   constexpr ZqReal deep = 0.1; // of the smaller link
   const auto linkOf = [&](const ZqLinkKey& key) -> const ZqManipulatorLink&
   { return *inspection.manipulator(key.manipulatorIndex()).linkByIndex(key.linkIndex()); };
   ZqProximityQuery query;
   for (const ZqLinkSeparation& pair :
        query.closestPairs(inspection.scene(), inspection.activeState(), -placeTolerance))
   {
      const ZqManipulatorLink& link1 = linkOf(pair.link1);
      const ZqManipulatorLink& link2 = linkOf(pair.link2);
      if (hasContact &&
          -pair.distance <= deep * std::min(leastExtentOf(link1), leastExtentOf(link2)))
         continue;
      const auto& manipulator1 = inspection.manipulator(pair.link1.manipulatorIndex());
      const auto& manipulator2 = inspection.manipulator(pair.link2.manipulatorIndex());
      inspection.report(Severity::Warning, "links-overlap", pathOf(manipulator1, link1),
                        "overlaps link " + quoted(link2.linkLabel()) +
                           (&manipulator1 != &manipulator2
                               ? " of " + quoted(manipulator2.manipulatorLabel())
                               : ZqString()) +
                           " by " + rounded(-pair.distance) + " m in the stored state, and " +
                           (hasContact ? "is thrown out of it" : "may collide with it"));
   }
}

// Exclusions from collision

/// Reports, each once, names of manipulators and links that there are not.
class NameCheck
{
public:
   NameCheck(Inspection& inspection, ZqString place)
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
         m_inspection.report(Severity::Warning, "exclusion-missing", {},
                             m_place + " name manipulator " +
                                std::to_string(missing.manipulatorId()) + ", which does not exist");
      else
         m_inspection.report(Severity::Warning, "exclusion-missing", pathOf(*manipulator),
                             m_place + " name link " + quoted(missing.linkId()) +
                                ", which does not exist");
   }

   Inspection& m_inspection;
   ZqString m_place;
   std::set<ZqManipulatorLinkIdentifier> m_reported;
};

void checkExclusions(Inspection& inspection)
{
   const ZqManipulatorSystemConfiguration& configuration = inspection.scene().configuration();
   const std::array<std::pair<const char*, const ZqSystemCollisionExclusionMap&>, 3> places{
      {{"the collision exclusions of the system",
        inspection.scene().system().collisionExclusionMap()},
       {"the collision exclusions of the configuration", configuration.collisionExclusionMap()},
       {"the exclusions for collision avoidance", configuration.collisionExclusionMapForCA()}}};
   for (const auto& [name, map] : places)
   {
      NameCheck check(inspection, name);
      check.checkAll(map.manipulatorExclusionMap());
      check.checkAll(map.linkManipulatorExclusionMap());
      check.checkAll(map.linkExclusionMap());
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
} // namespace

std::vector<Zq::Diagnostic> Zq::checkModel(const ZqStatedSystem& scene, std::optional<ZqReal> step)
{
   constexpr std::array checksOfManipulator{
      checkReference,         checkLabels, checkMasses,          checkBodies, checkAngles,
      checkScrewsAndLinkages, checkLimits, checkLimitsOfSeveral, checkFinite, checkLoops,
      checkSelfCollision,     checkShapes};
   // What the scene answers to questions that it has no answer to is told by what is found.
   const DiagnosticCollector log;
   Inspection inspection(scene);
   if (!std::isfinite(inspection.state().time()))
      inspection.report(Severity::Error, "not-finite", {}, "the time is not finite");
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      for (const auto check : checksOfManipulator)
         check(inspection, i);
   for (const ZqManipulatorAttachmentNode& root : scene.configuration().attachmentMap().baseNodes())
      checkAttachments(inspection, root);
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      checkDamping(inspection, i, step);
   checkExclusions(inspection);
   checkOverlaps(inspection, contactForceOf(scene) != nullptr);
   checkInteractions(inspection);
   checkContact(inspection, step);
   return inspection.findings();
}
