#include "zqManipulator/tools/checks/ZqInteractionChecks.h"

#include "zqManipulator/contact/forces/ZqMassSpringCollisionForceProcessor.h"
#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceProcessor.h"
#include "zqManipulator/contact/friction/ZqDryFrictionForceProcessor.h"
#include "zqManipulator/contact/response/ZqContactEstimate.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <set>

namespace
{
using namespace zqChecks;

constexpr ZqReal unlimited = std::numeric_limits<ZqReal>::max();

ZqString pathOfInteraction(unsigned index)
{
   return "linkInteractionsVector/interaction " + std::to_string(index);
}

/// A law of contact and that of friction in it.
struct Laws
{
   explicit Laws(const ZqLinkCollisionForce& interaction)
      : contact(interaction.collisionForceContainer().topElement())
   {
      const auto take = [&](const auto* law)
      {
         if (law == nullptr)
            return;
         friction = law->dissipativeForceProcessor();
         usesFriction = law->useFriction();
      };
      take(dynamic_cast<const ZqMassSpringCollisionForceProcessor*>(contact));
      take(dynamic_cast<const ZqPointContactForceProcessor*>(contact));
   }

   const ZqBaseCollisionForceProcessor* contact;
   const ZqBaseDissipativeForceProcessor* friction = nullptr;
   bool usesFriction = false;
};

// Names

void checkLink(Inspection& inspection, const ZqString& path, ZqU32 manipulator, ZqU32 link)
{
   if (manipulator >= inspection.scene().numberOfManipulators())
      inspection.report(Severity::Warning, "interaction-missing", path,
                        "acts on manipulator " + std::to_string(manipulator) +
                           ", which does not exist");
   else if (link != ZqBaseLinkIndex && link >= inspection.manipulator(manipulator).jointDof())
      inspection.report(Severity::Warning, "interaction-missing", path,
                        "acts on link " + std::to_string(static_cast<int>(link)) + " of " +
                           quoted(inspection.manipulator(manipulator).manipulatorLabel()) +
                           ", which does not exist");
}

void checkNames(Inspection& inspection, const ZqString& path,
                const ZqBaseLinkInteractions& interaction)
{
   // The base is -2, as number of a link `ZqBaseLinkIndex`.
   if (const auto* spring = dynamic_cast<const ZqSpringAndDamperBetweenLinks*>(&interaction))
   {
      checkLink(inspection, path, spring->manipulatorOneIndex(),
                static_cast<ZqU32>(spring->linkOneIndex()));
      checkLink(inspection, path, spring->manipulatorTwoIndex(),
                static_cast<ZqU32>(spring->linkTwoIndex()));
   }
   if (const auto* door = dynamic_cast<const ZqLatchedDoorLinks*>(&interaction))
   {
      checkLink(inspection, path, door->manipulatorId(), door->doorLinkId());
      checkLink(inspection, path, door->manipulatorId(), door->handleLinkId());
   }
}

// Constants

/// What a constant may be. Those that are not listed are from 0 on.
struct Range
{
   const ZqToken* name;
   ZqReal least;
   ZqReal most;
};

void checkConstant(Inspection& inspection, const ZqString& path, std::string_view name,
                   ZqReal value)
{
   constexpr ZqReal leastExponent = 1e-3;
   constexpr ZqReal greatestExponent = 10.0;
   constexpr ZqReal aboveZero = std::numeric_limits<ZqReal>::min();
   static const std::array ranges{
      Range{&ZqManip::ZqDefaultSpringExponentToken, leastExponent, greatestExponent},
      Range{&ZqManip::ZqSurfaceTensionSpringExponentToken, leastExponent, greatestExponent},
      Range{&ZqManip::ZqLinearStaticFrictionModelMaxDistanceErrorToken, aboveZero, unlimited},
      Range{&ZqManip::ZqAngularStaticFrictionModelMaxAngularErrorToken, aboveZero, unlimited},
      Range{&ZqManip::ZqLinearSpringOffsetToken, -unlimited, unlimited},
      Range{&ZqManip::ZqAngularSpringOffsetToken, -unlimited, unlimited},
      Range{&ZqManip::ZqUnlatchingAngleLowerBoundToken, -unlimited, unlimited},
      Range{&ZqManip::ZqUnlatchingAngleUpperBoundToken, -unlimited, unlimited},
      Range{&ZqManip::ZqClosedDoorAngleLowerBoundToken, -unlimited, unlimited},
      Range{&ZqManip::ZqClosedDoorAngleUpperBoundToken, -unlimited, unlimited}};
   const auto listed =
      std::find_if(ranges.begin(), ranges.end(),
                   [&](const Range& range) { return range.name->localName() == name; });
   const Range range = listed != ranges.end() ? *listed : Range{nullptr, 0.0, unlimited};
   if (value >= range.least && value <= range.most)
      return;
   const ZqString wanted = range.most < unlimited
                              ? "from " + rounded(range.least) + " to " + rounded(range.most)
                           : range.least < 0.0 ? "finite"
                           : range.least > 0.0 ? "above 0"
                                               : "0 or above";
   inspection.report(Severity::Error, "interaction-constant", path + '/' + ZqString(name),
                     "is " + rounded(value) + ", and not " + wanted);
}

/// Of all components that are single numbers.
void checkConstants(Inspection& inspection, const ZqString& path, const ZqXmlCompoundType& object)
{
   for (const auto& [name, component] : object.componentMap())
   {
      if (!component->isBasicType())
         continue;
      const std::unique_ptr<ZqXmlObject> value(component->clone());
      if (const auto* number = dynamic_cast<const ZqXmlBasicType<ZqReal>*>(value.get()))
         checkConstant(inspection, path, name.localName(), number->value());
   }
}

void checkCoefficients(Inspection& inspection, const ZqString& path,
                       const ZqFrictionCoefficientLookupTool& table)
{
   checkConstants(inspection, path, table);
   for (const ZqFrictionCoefficientLookupTool::PairMap* map :
        {&table.tangentialCoefficientOfStaticFrictionMap(),
         &table.normalCoefficientOfStaticFrictionMap(), &table.kineticFrictionMap(),
         &table.viscousFrictionMap(), &table.rotationalFrictionScaleFactorMap(),
         &table.assumedMassMap()})
      for (const auto& [a, row] : map->mapContainer())
         for (const auto& [b, value] : row.mapContainer())
            checkConstant(inspection, path, a + " and " + b, value);
}

/// Where bodies that slide would be held more than those that stick.
void compareCoefficients(Inspection& inspection, const ZqString& path,
                         const ZqFrictionCoefficientLookupTool& table)
{
   const auto compare = [&](const ZqString& where, ZqReal atRest, ZqReal inMotion)
   {
      if (inMotion > atRest)
         inspection.report(Severity::Warning, "friction-kinetic-above-static", path + '/' + where,
                           "kinetic friction, " + rounded(inMotion) +
                              ", is above static friction, " + rounded(atRest));
   };
   compare("defaults", table.defaultLinearTangentialStaticFrictionCoefficient(),
           table.defaultLinearKineticFrictionCoefficient());
   std::set<std::pair<ZqString, ZqString>> pairs;
   for (const auto* map :
        {&table.tangentialCoefficientOfStaticFrictionMap(), &table.kineticFrictionMap()})
      for (const auto& [a, row] : map->mapContainer())
         for (const auto& [b, value] : row.mapContainer())
            pairs.insert(std::minmax(a, b));
   for (const auto& [a, b] : pairs)
      compare(a + " and " + b, table.tangentialCoefficientOfStaticFriction(a, b),
              table.coefficientOfKineticFriction(a, b));
}

/// Calls a function with each surface of a link's own shapes, and its path.
template <class Function>
void forEachSurface(Inspection& inspection, Function function)
{
   const auto visit = [&](const ZqIndividualManipulator& manipulator, const ZqManipulatorLink& link)
   {
      std::vector<const ZqShape*> shapes;
      link.memberShapeContainer().collectShapes(shapes);
      for (std::size_t i = 0; i < shapes.size(); ++i)
         for (const auto& [name, values] : shapes[i]->surfaces().mapContainer())
            function(pathOf(manipulator, link) + "/shapeContainer/shape " + std::to_string(i) +
                        "/surfaces/'" + Zq::oneLine(name) + "'",
                     values);
   };
   for (ZqU32 i = 0; i < inspection.scene().numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = inspection.manipulator(i);
      if (manipulator.manipulatorReferenceDescription().isManipulatorReferenced())
         continue;
      visit(manipulator, manipulator);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         visit(manipulator, *link);
   }
}

void checkSurfaces(Inspection& inspection)
{
   static const std::array names{ZqFoundCommon::ZqSurfaceTensionSpringConstantToken.localName(),
                                 ZqManip::ZqSurfaceTensionSpringExponentToken.localName(),
                                 ZqManip::ZqSurfaceTensionDamperConstantToken.localName(),
                                 ZqManip::ZqSurfaceDissipationToken.localName()};
   forEachSurface(inspection,
                  [&](const ZqString& path, const ZqDataMap& values)
                  {
                     for (const std::string_view name : names)
                        if (ZqReal value = 0.0; values.lookup(ZqString(name), value))
                           checkConstant(inspection, path, name, value);
                  });
}

// Laws

/// What keeps friction that is held from acting; empty when nothing does.
ZqString obstacleToFriction(const Laws& laws)
{
   if (!laws.usesFriction)
      return "useFriction is false";
   if (const auto* full = dynamic_cast<const ZqDissipativeForceProcessor*>(laws.friction))
      return full->useStaticFriction() || full->useKineticFriction() || full->useViscousFriction()
                ? ""
                : "static, kinetic and viscous friction are all switched off";
   const auto* dry = dynamic_cast<const ZqDryFrictionForceProcessor*>(laws.friction);
   if (dry == nullptr)
      return "";
   if (!dry->useStaticFriction() && !dry->useKineticFriction())
      return "static and kinetic friction are both switched off";
   return dry->useKineticFriction() && !(dry->kineticFrictionWeightingExponent() > 0.0)
             ? "kinetic friction is zero with the exponent 0"
             : "";
}

/// Materials that the table of coefficients knows no pair of.
void checkMaterials(Inspection& inspection, const ZqFrictionCoefficientLookupTool& table)
{
   std::set<ZqString> known;
   for (const auto* map :
        {&table.tangentialCoefficientOfStaticFrictionMap(), &table.kineticFrictionMap()})
      for (const auto& [a, row] : map->mapContainer())
         for (const auto& [b, value] : row.mapContainer())
            known.insert({a, b});
   std::set<ZqString> unknown;
   forEachSurface(
      inspection,
      [&](const ZqString& path, const ZqDataMap& values)
      {
         ZqString material;
         if (values.lookup(ZqString(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName()),
                           material) &&
             !known.contains(material) && unknown.insert(material).second)
            inspection.report(Severity::Note, "material-unknown", path,
                              "the table of friction has no pair with " + quoted(material) +
                                 ": it takes the defaults, " +
                                 rounded(table.defaultLinearTangentialStaticFrictionCoefficient()) +
                                 " for static and " +
                                 rounded(table.defaultLinearKineticFrictionCoefficient()) +
                                 " for kinetic friction");
      });
}

bool canAnyCollide(const ZqStatedSystem& scene)
{
   std::vector<std::pair<ZqU32, ZqU32>> links;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = scene.system().manipulators()[i];
      if (manipulator.concreteReference().shape() != nullptr)
         links.emplace_back(i, ZqBaseLinkIndex);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         if (link->shape() != nullptr)
            links.emplace_back(i, link->linkIndex());
   }
   for (const auto& [m1, l1] : links)
      for (const auto& [m2, l2] : links)
         if (m1 != m2 ? scene.system().canCollide(m1, l1, m2, l2)
                      : l1 != l2 && scene.system().manipulators()[m1].canCollide(l1, l2))
            return true;
   return false;
}

void checkLaws(Inspection& inspection, const ZqString& path,
               const ZqLinkCollisionForce& interaction)
{
   const Laws laws(interaction);
   if (laws.contact == nullptr)
   {
      if (canAnyCollide(inspection.scene()))
         inspection.report(Severity::Warning, "contact-without-law", path,
                           "there is no law of contact in it: links pass through each other");
      return;
   }
   const ZqString lawPath = path + '/' + ZqString(laws.contact->token().localName());
   checkConstants(inspection, lawPath, *laws.contact);
   if (laws.friction == nullptr)
      return;
   const ZqString frictionPath = lawPath + '/' + ZqString(laws.friction->token().localName());
   checkConstants(inspection, frictionPath, *laws.friction);
   const ZqFrictionCoefficientLookupTool& table = laws.friction->frictionCoefficientLUT();
   const ZqString tablePath = frictionPath + "/frictionCoefficientLookupTool";
   checkCoefficients(inspection, tablePath, table);
   if (const ZqString obstacle = obstacleToFriction(laws); !obstacle.empty())
   {
      inspection.report(Severity::Warning, "friction-without-effect", frictionPath, obstacle);
      return;
   }
   compareCoefficients(inspection, tablePath, table);
   checkMaterials(inspection, table);
}

// Step and stiffness

const ZqManipulatorLink& linkOf(const Inspection& inspection, const ZqLinkKey& key)
{
   return *inspection.manipulator(key.manipulatorIndex()).linkByIndex(key.linkIndex());
}

ZqString pathOfLink(const Inspection& inspection, const ZqLinkKey& key)
{
   return pathOf(inspection.manipulator(key.manipulatorIndex()), linkOf(inspection, key));
}

ZqString nameOf(const Inspection& inspection, const ZqLinkKey& key)
{
   return "link " + quoted(linkOf(inspection, key).linkLabel()) + " of " +
          quoted(inspection.manipulator(key.manipulatorIndex()).manipulatorLabel());
}

/// What touches is told before what may touch one day, which is not looked at so closely.
void checkStep(Inspection& inspection, const ZqContactEstimate& estimate,
               std::optional<ZqReal> step)
{
   constexpr ZqReal usualStep = 0.001;
   const ZqReal length = step.value_or(usualStep);
   const auto tell =
      [&](const std::optional<ZqContactEstimate::Step>& pair, ZqReal part, const char* condition)
   {
      if (!pair || length < part * pair->longest)
         return false;
      inspection.report(step ? Severity::Warning : Severity::Note, "contact-step",
                        pathOfLink(inspection, pair->link1),
                        "a step of " + rounded(length) + " s is too long for its contact with " +
                           nameOf(inspection, pair->link2) + condition + ": take one of " +
                           rounded(roundedDown(ZqContactEstimate::safePart * pair->longest)) +
                           " s");
      return true;
   };
   if (!tell(estimate.touchingStep, ZqContactEstimate::safePart, ""))
      tell(estimate.step, 1.0, ", should they touch");
}
} // namespace

const ZqLinkCollisionForce* zqChecks::contactForceOf(const ZqStatedSystem& scene)
{
   const ZqLinkInteractionsVector& interactions = scene.system().linkInteractionsVector();
   for (unsigned i = 0; i < interactions.size(); ++i)
      if (const auto* contact = dynamic_cast<const ZqLinkCollisionForce*>(&interactions[i]);
          contact != nullptr && contact->collisionForceContainer().topElement() != nullptr)
         return contact;
   return nullptr;
}

void zqChecks::checkInteractions(Inspection& inspection)
{
   const ZqLinkInteractionsVector& interactions =
      inspection.scene().system().linkInteractionsVector();
   const ZqLinkCollisionForce* first = contactForceOf(inspection.scene());
   for (unsigned i = 0; i < interactions.size(); ++i)
   {
      const ZqString path = pathOfInteraction(i);
      checkNames(inspection, path, interactions[i]);
      checkConstants(inspection, path, interactions[i]);
      const auto* contact = dynamic_cast<const ZqLinkCollisionForce*>(&interactions[i]);
      if (contact == nullptr)
         continue;
      checkLaws(inspection, path, *contact);
      if (contact != first && contact->collisionForceContainer().topElement() != nullptr)
         inspection.report(Severity::Warning, "contact-twice", path,
                           "there is a law of contact before: its forces and these act both");
   }
   if (first != nullptr)
      checkSurfaces(inspection);
}

void zqChecks::checkContact(Inspection& inspection, std::optional<ZqReal> step)
{
   const ZqLinkCollisionForce* contact = contactForceOf(inspection.scene());
   if (contact == nullptr)
      return;
   const ZqContactEstimate estimate =
      ZqContactEstimate::of(inspection.scene(), inspection.activeState(),
                            *contact->collisionForceContainer().topElement());
   checkStep(inspection, estimate, step);
   if (estimate.forceless)
      inspection.report(Severity::Warning, "contact-without-stiffness",
                        pathOfLink(inspection, estimate.forceless->first),
                        "its contact with " + nameOf(inspection, estimate.forceless->second) +
                           " has the stiffness 0: they pass through each other");
   if (estimate.sinking)
      inspection.report(Severity::Warning, "contact-too-soft",
                        pathOfLink(inspection, estimate.sinking->link1),
                        "contact is too soft for its weight: it comes to rest " +
                           rounded(estimate.sinking->depth) + " m deep in " +
                           nameOf(inspection, estimate.sinking->link2));
   for (const ZqContactEstimate::Stack& stack : estimate.softStacks)
      inspection.report(
         Severity::Warning, "stack-too-soft", pathOfLink(inspection, stack.links.front()),
         (stack.links.size() == 1
             ? ZqString("it tilts on what it stands on")
             : "the stack of " + std::to_string(stack.links.size()) + " from it up to " +
                  nameOf(inspection, stack.links.back()) + " folds up") +
            ": its contacts have to be " + rounded(std::ceil(stack.factor * 10.0) / 10.0) +
            " times as stiff");
}
