#include "zqManipulator/contact/response/ZqContactEstimate.h"

#include "zqManipulator/contact/forces/ZqMassSpringDamperCollisionForceProcessor.h"
#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"
#include "zqManipulator/contact/forces/ZqSurfaceConstant.h"
#include "zqManipulator/contact/friction/ZqDissipativeForceProcessor.h"
#include "zqManipulator/contact/friction/ZqDryFrictionForceProcessor.h"
#include "zqManipulator/contact/friction/ZqPointFrictionForceProcessor.h"
#include "zqManipulator/contact/proximity/ZqContactMass.h"
#include "zqManipulator/contact/proximity/ZqManipulatorCollisionTool.h"
#include "zqManipulator/contact/response/ZqContactLoad.h"
#include "zqManipulator/contact/response/ZqContactSides.h"
#include "zqManipulator/foundation/geometry/ZqConvexAlgebra.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveBoundingBoxState.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace
{
/// Bodies that are no further apart rest on each other after a moment (m).
constexpr ZqReal greatestGap = 1e-3;
constexpr ZqReal infinity = std::numeric_limits<ZqReal>::infinity();

/// Along one direction: a spring, and the damper beside it.
struct Stiffness
{
   ZqReal spring = 0.0;     ///< N/m
   ZqReal relaxation = 0.0; ///< damper / spring (s)
};

/// The normal direction, with all that is of its stiffness; and another one across.
using Stiffnesses = std::array<Stiffness, 2>;

/// Of two surfaces, as a law takes them.
struct SurfacePair
{
   bool isStiff() const { return k > 0.0 && k < infinity && e > 0.0 && e < infinity; }
   ZqReal stiffness(ZqReal depth) const { return k * e * std::pow(depth, e - 1.0); }
   ZqReal depthUnder(ZqReal load) const { return std::pow(load / k, 1.0 / e); }

   ZqReal k = 0.0; ///< N/m^e
   ZqReal e = 1.0;
   ZqReal referenceStiffness = 0.0; ///< by which friction is measured (N/m)
   ZqReal dissipation = 0.0;        ///< s/m, of the spring's force
   ZqReal damper = 0.0;             ///< N s/m
   ZqReal depthDamper = 0.0;        ///< N s/m^2
   ZqReal staticFriction = 0.0;     ///< coefficient
   ZqReal assumedMass = 0.0;        ///< kg
};

/// What an estimate has to know of a law.
class Law
{
public:
   explicit Law(const ZqBaseCollisionForceProcessor& law)
      : m_point(dynamic_cast<const ZqPointContactForceProcessor*>(&law)),
        m_told(dynamic_cast<const ZqMassSpringCollisionForceProcessor*>(&law)),
        m_isToldWithDepth(dynamic_cast<const ZqMassSpringDamperCollisionForceProcessor*>(&law) !=
                          nullptr)
   {
      if (m_point != nullptr && m_point->useFriction())
         m_friction = m_point->dissipativeForceProcessor();
      if (m_told != nullptr && m_told->useFriction())
         m_friction = m_told->dissipativeForceProcessor();
      m_pointFriction = dynamic_cast<const ZqPointFrictionForceProcessor*>(m_friction);
   }

   bool isKnown() const { return m_point != nullptr || m_told != nullptr; }
   SurfacePair pairOf(const ZqDataMap* a, const ZqDataMap* b) const;
   /// Of two bodies, m1 m2 / (m1 + m2) being `mass`, that press on each other at a depth.
   Stiffnesses stiffnesses(const SurfacePair& pair, ZqReal depth, ZqReal mass) const;

private:
   const ZqPointContactForceProcessor* m_point;
   const ZqMassSpringCollisionForceProcessor* m_told;
   bool m_isToldWithDepth;
   const ZqBaseDissipativeForceProcessor* m_friction = nullptr;
   const ZqPointFrictionForceProcessor* m_pointFriction = nullptr;
};

ZqString materialOf(const ZqDataMap* surface)
{
   ZqString name = "metal";
   if (surface != nullptr)
      surface->lookup(ZqString(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName()), name);
   return name;
}

SurfacePair Law::pairOf(const ZqDataMap* a, const ZqDataMap* b) const
{
   SurfacePair pair;
   if (m_point != nullptr)
   {
      const auto material =
         ZqContactMaterial::ofPair(m_point->surfaceMaterial(a), m_point->surfaceMaterial(b));
      pair.k = material.stiffness;
      pair.e = material.exponent;
      pair.dissipation = material.dissipation;
      pair.referenceStiffness = material.referenceStiffness();
   }
   else
   {
      pair.k = m_told->getSpringConstant(a, b);
      pair.e = m_told->getSpringExponent(a, b);
      (m_isToldWithDepth ? pair.depthDamper : pair.damper) = m_told->getDamperConstant(a, b);
   }
   if (m_friction != nullptr)
   {
      const ZqFrictionCoefficientLookupTool& table = m_friction->frictionCoefficientLUT();
      const ZqString material1 = materialOf(a);
      const ZqString material2 = materialOf(b);
      pair.staticFriction = table.tangentialCoefficientOfStaticFriction(material1, material2);
      pair.assumedMass = table.assumedMass(material1, material2);
   }
   return pair;
}

/// Of a damper of a part of the critical one for a mass.
ZqReal relaxationOf(ZqReal ratio, ZqReal mass, ZqReal spring)
{
   return ratio > 0.0 && spring > 0.0 ? 2.0 * ratio * std::sqrt(mass / spring) : 0.0;
}

Stiffnesses Law::stiffnesses(const SurfacePair& pair, ZqReal depth, ZqReal mass) const
{
   Stiffnesses result;
   auto& [normal, across] = result;
   normal.spring = pair.stiffness(depth);
   normal.relaxation =
      pair.dissipation * depth / pair.e + (pair.damper + pair.depthDamper * depth) / normal.spring;
   if (m_point != nullptr)
      normal.relaxation += relaxationOf(m_point->settlingDampingRatio(), mass, normal.spring);
   if (m_pointFriction != nullptr)
   {
      const ZqReal spring =
         m_pointFriction->tangentialToNormalStiffness() * pair.referenceStiffness;
      normal.relaxation =
         std::max(normal.relaxation, relaxationOf(m_pointFriction->dampingRatio(), mass, spring));
      normal.spring = std::max(normal.spring, spring);
   }
   if (const auto* full = dynamic_cast<const ZqDissipativeForceProcessor*>(m_friction);
       full != nullptr && full->useStaticFriction())
   {
      across.spring = pair.staticFriction * pair.k * std::pow(depth, pair.e) /
                      full->linearStaticFrictionModelMaxDistanceError();
      across.relaxation =
         relaxationOf(1.0, m_told != nullptr ? m_told->linearInertia() : mass, across.spring);
   }
   if (const auto* dry = dynamic_cast<const ZqDryFrictionForceProcessor*>(m_friction);
       dry != nullptr && dry->useStaticFriction())
   {
      constexpr ZqReal drySpring = 4000.0;
      across = {drySpring, relaxationOf(1.0, pair.assumedMass, drySpring)};
   }
   return result;
}

struct Body
{
   ZqLinkKey key;
   ZqReal mass = infinity; ///< kg; infinite for what cannot move
   bool isAlone = false;   ///< a free base without links
   ZqReal extent = 0.0;    ///< the least one of its box (m)
   ZqVector center;        ///< of mass, in the system
};

/// Two bodies that touch.
struct Touch
{
   std::array<std::size_t, 2> bodies;
   SurfacePair surfaces;
   ZqReal depth;
};

/// Two bodies that touch or nearly do, one above the other.
struct Rest
{
   std::size_t lower, upper; ///< bodies
   SurfacePair surfaces;
   ZqVector middle; ///< of the patch, in the system
   /// The least mean square distance of the points from an axis through the middle in the patch (m^2); zero
   /// for a point and for a line.
   ZqReal leverSquared;
};

/// What limits a step, for each direction.
struct Terms
{
   void operator+=(const Terms& other)
   {
      for (std::size_t i = 0; i < 2; ++i)
         loads[i] += other.loads[i];
   }
   ZqReal longestStep() const { return std::min(loads[0].longestStep(), loads[1].longestStep()); }

   std::array<ZqContactLoad, 2> loads;
};

class Estimator
{
public:
   Estimator(const ZqStatedSystem& scene, ZqSystemActiveState& activeState,
             const ZqBaseCollisionForceProcessor& law)
      : m_scene(scene), m_active(activeState), m_processor(law), m_law(law),
        m_gravity(scene.environment().upGravityVector())
   {
   }

   bool isLawKnown() const { return m_law.isKnown(); }
   void collect()
   {
      collectBodies();
      collectTouches();
   }
   void compareSteps();
   const std::optional<ZqContactEstimate::Step>& step() const { return m_step; }
   const std::optional<ZqContactEstimate::Step>& touchingStep() const { return m_touchingStep; }
   const std::optional<ZqContactEstimate::Sinking>& sinking() const { return m_sinking; }
   const auto& forceless() const { return m_forceless; }
   std::vector<ZqContactEstimate::Stack> softStacks();

private:
   /// Bodies of one mass and with the same surfaces.
   using Kind = std::pair<ZqReal, std::vector<std::size_t>>;

   void collectBodies();
   void addBody(ZqU32 manipulator, const ZqManipulatorLink& link);
   std::vector<std::size_t> surfacesOf(const ZqManipulatorLink& link);
   void collectTouches();
   void addTouch(const ZqShapeCollisionData& data);
   bool canCollide(const ZqLinkKey& a, const ZqLinkKey& b) const;
   Terms termsOf(const SurfacePair& surfaces, const Body& a, const Body& b, ZqReal depth) const;
   void compareKinds();
   void compareKinds(const Kind& kind1, const Kind& kind2);
   void compareLoads(const Kind& kind1, const Kind& kind2);
   void findForceless(const Kind& kind1, const Kind& kind2);
   void compareTouches();
   static void compare(std::optional<ZqContactEstimate::Step>& step, ZqReal longest, const Body& a,
                       const Body& b);
   void collectRests();
   void addRest(const ZqLinkKey& a, const ZqLinkKey& b);
   void collectSupports();
   std::vector<const Rest*> chainUnder(std::size_t body) const;
   bool stands(const std::vector<const Rest*>& chain, ZqReal factor) const;
   ZqReal factorOf(const std::vector<const Rest*>& chain) const;

   const ZqStatedSystem& m_scene;
   ZqSystemActiveState& m_active;
   const ZqBaseCollisionForceProcessor& m_processor;
   Law m_law;
   ZqVector m_gravity; ///< upwards (m/s^2)
   std::vector<Body> m_bodies;
   std::map<ZqLinkKey, std::size_t> m_bodyOf;
   std::vector<const ZqDataMap*> m_surfaces; ///< those that differ; null for one without values
   std::map<Kind, std::vector<std::size_t>> m_bodiesOfKind;
   std::vector<Touch> m_touches;
   std::vector<Rest> m_rests;
   std::optional<ZqContactEstimate::Step> m_step;
   std::optional<ZqContactEstimate::Step> m_touchingStep;
   std::optional<ZqContactEstimate::Sinking> m_sinking;
   std::optional<std::pair<ZqLinkKey, ZqLinkKey>> m_forceless;
   std::vector<const Rest*>
      m_support; ///< of bodies that rest on one other, and could tilt; else null
};

// Bodies

void Estimator::collectBodies()
{
   for (ZqU32 i = 0; i < m_scene.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = m_scene.system().manipulators()[i];
      addBody(i, manipulator.concreteReference());
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         addBody(i, *link);
   }
}

void Estimator::addBody(ZqU32 index, const ZqManipulatorLink& link)
{
   const std::vector<std::size_t> surfaces = surfacesOf(link);
   if (surfaces.empty())
      return;
   const ZqIndividualManipulator& manipulator = m_scene.system().manipulators()[index];
   Body body;
   body.key = {index, link.linkIndex()};
   const bool isAttached =
      m_scene.configuration().attachmentMap().baseManipulatorIndex(index) != index;
   body.mass = zqContactMass(manipulator, link, isAttached);
   if (body.mass < infinity)
   {
      ZqVector center;
      const bool isBase = link.linkIndex() == ZqBaseLinkIndex;
      (isBase ? manipulator : link).massProperties().getCenterOfMass(center);
      auto& state = m_active.manipulatorActiveStateVector()[index].activePositionState();
      body.center = link.primaryFrameInSystem(state) * center;
      const ZqVector extents = link.shape()->axisAlignedBoundingBox({}).extents();
      body.extent = std::min({extents.x(), extents.y(), extents.z()});
      body.isAlone = !isAttached && !manipulator.isFixedBase() && manipulator.jointDof() == 0;
   }
   m_bodiesOfKind[{body.mass, surfaces}].push_back(m_bodies.size());
   m_bodyOf[body.key] = m_bodies.size();
   m_bodies.push_back(body);
}

/// Of the shapes that make forces, by number, without repetition; none for a link without such a shape.
std::vector<std::size_t> Estimator::surfacesOf(const ZqManipulatorLink& link)
{
   std::vector<std::size_t> result;
   const auto add = [&](const ZqDataMap* surface)
   {
      const auto isSame = [&](const ZqDataMap* other) {
         return surface == other || (surface != nullptr && other != nullptr && *surface == *other);
      };
      const auto place = std::find_if(m_surfaces.begin(), m_surfaces.end(), isSame);
      result.push_back(static_cast<std::size_t>(place - m_surfaces.begin()));
      if (place == m_surfaces.end())
         m_surfaces.push_back(surface);
   };
   static const ZqString wholeSurface = "0";
   for (ZqU32 i = 0; i < link.numShapesInPhysicalRepresentation(); ++i)
   {
      const ZqShape& shape = *link.shapeByIndex(i);
      if (shape.isContactForceFree())
         continue;
      for (const auto& [name, values] : shape.surfaces().mapContainer())
         if (name != wholeSurface)
            add(&values);
      add(zqSurfaceValues(link, &shape, wholeSurface));
   }
   std::sort(result.begin(), result.end());
   result.erase(std::unique(result.begin(), result.end()), result.end());
   return result;
}

bool Estimator::canCollide(const ZqLinkKey& a, const ZqLinkKey& b) const
{
   if (a.manipulatorIndex() != b.manipulatorIndex())
      return m_scene.system().canCollide(a.manipulatorIndex(), a.linkIndex(), b.manipulatorIndex(),
                                         b.linkIndex());
   return a != b && m_scene.system().manipulators()[a.manipulatorIndex()].canCollide(a.linkIndex(),
                                                                                     b.linkIndex());
}

// Touches

void Estimator::collectTouches()
{
   const ZqManipulatorSystem& system = m_scene.system();
   const ZqManipulatorCollisionTool tool;
   ZqSystemShapeCollisionCache& cache = m_active.systemShapeCollisionCache();
   cache.invalidateAll();
   for (const auto& [a, b] : m_active.systemActiveBoundingBoxState().intersectionList(
           system, m_active.manipulatorActiveStateVector()))
      if (canCollide(a, b))
         tool.computeLinkCollisionData(a.manipulatorIndex(), a.linkIndex(), b.manipulatorIndex(),
                                       b.linkIndex(), system, m_active);
   cache.resetNextCollisionData();
   while (const ZqShapeCollisionData* data = cache.nextCollisionData())
      addTouch(*data);
}

void Estimator::addTouch(const ZqShapeCollisionData& data)
{
   const ZqContactSides sides(data, m_active);
   const auto body1 = m_bodyOf.find(data.key1().linkKey());
   const auto body2 = m_bodyOf.find(data.key2().linkKey());
   if (!sides.areThere() || sides.areInert() || body1 == m_bodyOf.end() || body2 == m_bodyOf.end())
      return;
   const ZqDataMap* surface1 = sides.surface(m_processor, 0);
   const ZqDataMap* surface2 = sides.surface(m_processor, 1);
   m_touches.push_back({{body1->second, body2->second},
                        m_law.pairOf(surface1, surface2),
                        std::max(0.0, -data.separationDistance())});
}

// The step

/// At a depth that is no less than that at which the lighter body rests on the other one. Where nothing has
/// weight, it rests as on earth.
Terms Estimator::termsOf(const SurfacePair& surfaces, const Body& a, const Body& b,
                         ZqReal depth) const
{
   constexpr ZqReal usualGravity = 9.80665;
   const ZqReal gravity = m_gravity.mag();
   const ZqReal mass = zqPairMass(a.mass, b.mass);
   if (!surfaces.isStiff() || !(mass > 0.0 && mass < infinity))
      return {};
   const ZqReal weight = std::min(a.mass, b.mass) * (gravity > 0.0 ? gravity : usualGravity);
   const Stiffnesses stiffnesses =
      m_law.stiffnesses(surfaces, std::max(depth, surfaces.depthUnder(weight)), mass);
   Terms terms;
   for (std::size_t i = 0; i < 2; ++i)
      terms.loads[i] = ZqContactLoad::of(stiffnesses[i].spring, stiffnesses[i].relaxation, mass);
   return terms;
}

void Estimator::compare(std::optional<ZqContactEstimate::Step>& step, ZqReal longest, const Body& a,
                        const Body& b)
{
   if (longest < infinity && (!step || longest < step->longest))
      step = {a.key, b.key, longest};
}

/// Many bodies are alike: of two kinds one pair is enough.
void Estimator::compareKinds(const Kind& kind1, const Kind& kind2)
{
   const auto& bodies1 = m_bodiesOfKind.at(kind1);
   const auto& bodies2 = m_bodiesOfKind.at(kind2);
   ZqReal longest = infinity;
   for (const std::size_t s : kind1.second)
      for (const std::size_t t : kind2.second)
         longest =
            std::min(longest, termsOf(m_law.pairOf(m_surfaces[s], m_surfaces[t]),
                                      m_bodies[bodies1.front()], m_bodies[bodies2.front()], 0.0)
                                 .longestStep());
   if (!(longest < infinity) || (m_step && !(longest < m_step->longest)))
      return;
   for (const std::size_t i : bodies1)
      for (const std::size_t j : bodies2)
         if (i != j && canCollide(m_bodies[i].key, m_bodies[j].key))
            return compare(m_step, longest, m_bodies[i], m_bodies[j]);
}

void Estimator::compareKinds()
{
   for (auto first = m_bodiesOfKind.begin(); first != m_bodiesOfKind.end(); ++first)
      for (auto second = first; second != m_bodiesOfKind.end(); ++second)
      {
         compareKinds(first->first, second->first);
         // Kinds are in the order of masses.
         compareLoads(first->first, second->first);
         findForceless(first->first, second->first);
      }
}

void Estimator::findForceless(const Kind& kind1, const Kind& kind2)
{
   if (m_forceless || !(kind1.first < infinity))
      return;
   const auto isForceless = [&](std::size_t s, std::size_t t)
   {
      const ZqReal k = m_law.pairOf(m_surfaces[s], m_surfaces[t]).k;
      return !(k < 0.0 || k > 0.0);
   };
   if (std::none_of(kind1.second.begin(), kind1.second.end(),
                    [&](std::size_t s)
                    {
                       return std::any_of(kind2.second.begin(), kind2.second.end(),
                                          [&](std::size_t t) { return isForceless(s, t); });
                    }))
      return;
   for (const std::size_t i : m_bodiesOfKind.at(kind1))
      for (const std::size_t j : m_bodiesOfKind.at(kind2))
         if (i != j && canCollide(m_bodies[i].key, m_bodies[j].key))
         {
            m_forceless.emplace(m_bodies[i].key, m_bodies[j].key);
            return;
         }
}

/// Whether bodies of the first kind, which are not the heavier ones, sink into those of the second. Told are those
/// of which the first is above the second one, if there are such.
void Estimator::compareLoads(const Kind& kind1, const Kind& kind2)
{
   if (!(kind1.first < infinity))
      return;
   ZqReal depth = 0.0;
   for (const std::size_t s : kind1.second)
      for (const std::size_t t : kind2.second)
         if (const SurfacePair pair = m_law.pairOf(m_surfaces[s], m_surfaces[t]); pair.isStiff())
            depth = std::max(depth, pair.depthUnder(kind1.first * m_gravity.mag()));
   if (m_sinking && !(depth > m_sinking->depth))
      return;
   std::optional<ZqContactEstimate::Sinking> anyway;
   for (const std::size_t i : m_bodiesOfKind.at(kind1))
      if (depth > ZqContactEstimate::deepRest * m_bodies[i].extent)
         for (const std::size_t j : m_bodiesOfKind.at(kind2))
         {
            const Body& a = m_bodies[i];
            const Body& b = m_bodies[j];
            const bool isAbove = !(b.mass < infinity) || (a.center - b.center).dot(m_gravity) > 0.0;
            if (i == j || (anyway && !isAbove) || !canCollide(a.key, b.key))
               continue;
            anyway = {a.key, b.key, depth};
            if (isAbove)
            {
               m_sinking = anyway;
               return;
            }
         }
   if (anyway)
      m_sinking = anyway;
}

/// What a body touches holds it together. The stiffest of its contacts stands for them.
void Estimator::compareTouches()
{
   struct Load
   {
      Terms sum;
      ZqReal greatest = 0.0;
      const Touch* stiffest = nullptr;
   };
   std::vector<Load> loads(m_bodies.size());
   for (const Touch& touch : m_touches)
   {
      const auto [a, b] = touch.bodies;
      const Terms terms = termsOf(touch.surfaces, m_bodies[a], m_bodies[b], touch.depth);
      for (const std::size_t body : touch.bodies)
      {
         Load& load = loads[body];
         load.sum += terms;
         if (terms.loads[0].rate > load.greatest)
         {
            load.greatest = terms.loads[0].rate;
            load.stiffest = &touch;
         }
      }
   }
   for (std::size_t i = 0; i < m_bodies.size(); ++i)
      if (const Touch* touch = loads[i].stiffest; touch != nullptr && m_bodies[i].mass < infinity)
         compare(m_touchingStep, loads[i].sum.longestStep(), m_bodies[touch->bodies[0]],
                 m_bodies[touch->bodies[1]]);
}

void Estimator::compareSteps()
{
   compareKinds();
   compareTouches();
   collectRests();
   for (const Rest& rest : m_rests)
   {
      const Body& lower = m_bodies[rest.lower];
      const Body& upper = m_bodies[rest.upper];
      compare(m_touchingStep, termsOf(rest.surfaces, lower, upper, 0.0).longestStep(), lower,
              upper);
   }
   if (m_touchingStep && (!m_step || m_touchingStep->longest < m_step->longest))
      m_step = m_touchingStep;
}

// Stacks

/// The least mean square distance of points from an axis through their middle across a normal.
ZqReal leverSquaredOf(const ZqContactManifold& manifold, const ZqVector& middle)
{
   const ZqVector& n = manifold.normal;
   const ZqVector u =
      n.cross(std::abs(n.x()) < 0.5 ? ZqVector(1.0, 0.0, 0.0) : ZqVector(0.0, 1.0, 0.0))
         .unitVector();
   const ZqVector v = n.cross(u);
   ZqReal uu = 0.0;
   ZqReal uv = 0.0;
   ZqReal vv = 0.0;
   for (int i = 0; i < manifold.count; ++i)
   {
      const ZqVector r = manifold.points[i].point1 - middle;
      uu += r.dot(u) * r.dot(u) / manifold.count;
      uv += r.dot(u) * r.dot(v) / manifold.count;
      vv += r.dot(v) * r.dot(v) / manifold.count;
   }
   const ZqReal half = 0.5 * (uu - vv);
   return std::max(0.0, 0.5 * (uu + vv) - std::sqrt(half * half + uv * uv));
}

/// What nearly touches will rest on each other, too.
void Estimator::collectRests()
{
   ZqSystemActiveBoundingBoxState& boxes = m_active.systemActiveBoundingBoxState();
   const ZqReal tolerance = boxes.tolerance();
   boxes.setTolerance(greatestGap);
   for (const auto& [a, b] :
        boxes.intersectionList(m_scene.system(), m_active.manipulatorActiveStateVector()))
      if (m_bodyOf.contains(a) && m_bodyOf.contains(b) && canCollide(a, b))
         addRest(a, b);
   boxes.setTolerance(tolerance);
}

void Estimator::addRest(const ZqLinkKey& a, const ZqLinkKey& b)
{
   const auto linkOf = [&](const ZqLinkKey& key) -> const ZqManipulatorLink& {
      return *m_scene.system().manipulators()[key.manipulatorIndex()].linkByIndex(key.linkIndex());
   };
   const auto frameOf = [&](const ZqLinkKey& key) -> ZqCoordinateSystemTransformation
   {
      return linkOf(key).primaryFrameInSystem(
         m_active.manipulatorActiveStateVector()[key.manipulatorIndex()].activePositionState());
   };
   const ZqManipulatorLink& link1 = linkOf(a);
   const ZqManipulatorLink& link2 = linkOf(b);
   const ZqCoordinateSystemTransformation frame = frameOf(a);
   ZqContactManifold manifold;
   if (!zqConvex::contact(*link1.shape(), *link2.shape(),
                          zqConvex::pose(frame.inverse() * frameOf(b)), greatestGap, nullptr,
                          manifold))
      return;
   constexpr ZqReal steepest = 0.5; // cosine
   const ZqReal rise = (frame.orientation() * manifold.normal).dot(m_gravity.unitVector());
   const std::size_t first = m_bodyOf.at(a);
   const std::size_t second = m_bodyOf.at(b);
   if (!(std::abs(rise) > steepest))
      return;
   ZqVector middle;
   for (int i = 0; i < manifold.count; ++i)
      middle += manifold.points[i].point1 / manifold.count;
   static const ZqString wholeSurface = "0";
   m_rests.push_back({rise > 0.0 ? first : second, rise > 0.0 ? second : first,
                      m_law.pairOf(zqSurfaceValues(link1, link1.shape(), wholeSurface),
                                   zqSurfaceValues(link2, link2.shape(), wholeSurface)),
                      frame * middle, leverSquaredOf(manifold, middle)});
}

/// What each body rests on, if it is one other.
void Estimator::collectSupports()
{
   std::vector<int> counts(m_bodies.size());
   m_support.assign(m_bodies.size(), nullptr);
   for (const Rest& rest : m_rests)
   {
      ++counts[rest.upper];
      m_support[rest.upper] = &rest;
   }
   for (std::size_t i = 0; i < m_bodies.size(); ++i)
      if (counts[i] != 1 || !m_bodies[i].isAlone || !(m_support[i]->leverSquared > 0.0) ||
          !m_support[i]->surfaces.isStiff())
         m_support[i] = nullptr;
}

/// The contacts below a body down to what is no part of a stack, the lowest first.
std::vector<const Rest*> Estimator::chainUnder(std::size_t body) const
{
   std::vector<const Rest*> chain;
   // What is deep in each other may rest on each other in a circle.
   for (const Rest* rest = m_support[body]; rest != nullptr && chain.size() <= m_bodies.size();
        rest = m_support[rest->lower])
      chain.push_back(rest);
   std::reverse(chain.begin(), chain.end());
   return chain;
}

/// Whether a column of rigid bodies is stable: whether the matrix of its stiffness against the turns of the
/// bodies, which is tridiagonal, has pivots above zero.
bool Estimator::stands(const std::vector<const Rest*>& chain, ZqReal factor) const
{
   const ZqVector up = m_gravity.unitVector();
   const ZqReal gravity = m_gravity.mag();
   ZqReal load = 0.0; // on the body, by those above
   ZqReal springAbove = 0.0;
   ZqReal pivotAbove = infinity;
   for (std::size_t i = chain.size(); i-- > 0;)
   {
      const Rest& rest = *chain[i];
      const Body& body = m_bodies[rest.upper];
      const ZqReal weight = body.mass * gravity;
      const ZqReal height =
         i + 1 < chain.size() ? (chain[i + 1]->middle - rest.middle).dot(up) : 0.0;
      const ZqReal tilt = weight * (body.center - rest.middle).dot(up) + load * height;
      load += weight;
      const ZqReal spring =
         factor * rest.leverSquared * rest.surfaces.stiffness(rest.surfaces.depthUnder(load));
      const ZqReal pivot = spring + springAbove - tilt - springAbove * springAbove / pivotAbove;
      if (!(pivot > 0.0))
         return false;
      springAbove = spring;
      pivotAbove = pivot;
   }
   return true;
}

/// By which stiffness has to grow; 1 for a stack that stands, and infinite for one that no stiffness holds.
ZqReal Estimator::factorOf(const std::vector<const Rest*>& chain) const
{
   constexpr ZqReal reserve = 2.0 / 3.0;
   if (stands(chain, reserve))
      return 1.0;
   ZqReal upper = 2.0;
   while (upper < 1e12 && !stands(chain, reserve * upper))
      upper *= 2.0;
   if (!(upper < 1e12))
      return infinity;
   ZqReal lower = 0.5 * upper;
   for (int i = 0; i < 20; ++i)
   {
      const ZqReal middle = 0.5 * (lower + upper);
      (stands(chain, reserve * middle) ? upper : lower) = middle;
   }
   return upper;
}

std::vector<ZqContactEstimate::Stack> Estimator::softStacks()
{
   if (!(m_gravity.mag() > 0.0))
      return {};
   collectSupports();
   std::vector<bool> bears(m_bodies.size());
   for (const Rest* rest : m_support)
      if (rest != nullptr)
         bears[rest->lower] = true;
   std::map<std::size_t, ZqContactEstimate::Stack> worst; // by the lowest body
   for (std::size_t i = 0; i < m_bodies.size(); ++i)
   {
      if (m_support[i] == nullptr || bears[i])
         continue;
      const std::vector<const Rest*> chain = chainUnder(i);
      const ZqReal factor = factorOf(chain);
      ZqContactEstimate::Stack& stack = worst[chain.front()->upper];
      if (!(factor > 1.0 && factor < infinity) || (!stack.links.empty() && factor <= stack.factor))
         continue;
      stack = {{}, factor};
      for (const Rest* rest : chain)
         stack.links.push_back(m_bodies[rest->upper].key);
   }
   std::vector<ZqContactEstimate::Stack> stacks;
   for (auto& [body, stack] : worst)
      if (!stack.links.empty())
         stacks.push_back(std::move(stack));
   return stacks;
}
} // namespace

ZqContactEstimate ZqContactEstimate::of(const ZqStatedSystem& scene,
                                        ZqSystemActiveState& activeState,
                                        const ZqBaseCollisionForceProcessor& law)
{
   Estimator estimator(scene, activeState, law);
   if (!estimator.isLawKnown())
      return {};
   estimator.collect();
   ZqContactEstimate result;
   estimator.compareSteps();
   result.step = estimator.step();
   result.touchingStep = estimator.touchingStep();
   result.sinking = estimator.sinking();
   result.forceless = estimator.forceless();
   result.softStacks = estimator.softStacks();
   return result;
}
