#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"

#include "zqManipulator/contact/friction/ZqLawNumber.h"
#include "zqManipulator/foundation/geometry/ZqConvexAlgebra.h"
#include "zqManipulator/foundation/geometry/ZqDataMap.h"

#include <algorithm>
#include <array>
#include <cmath>

template class ZqXmlClass<ZqPointContactForceProcessor, ZqBaseCollisionForceProcessor>;

namespace
{
constexpr ZqLawRange springConstantRange{0.0, 1e30};
constexpr ZqLawRange springExponentRange{1.0, 10.0};
constexpr ZqLawRange dissipationRange{0.0, 1e6};
constexpr ZqLawRange dampingRatioRange{0.0, 1e3};
constexpr ZqLawRange forceFractionRange{0.0, 1.0};
constexpr ZqReal greatestForce = 1e75;

/// Of numbers above zero. The exponents of a bed of springs, of spheres and of cones need no power.
ZqReal power(ZqReal base, ZqReal exponent) noexcept
{
   if (exponent == 1.0)
      return base;
   if (exponent == 1.5)
      return base * std::sqrt(base);
   if (exponent == 2.0)
      return base * base;
   return std::pow(base, exponent);
}

/// Grows from 0 to 4 with the angle of a place, counter-clockwise.
ZqReal turnOf(ZqReal x, ZqReal y) noexcept
{
   const ZqReal size = std::abs(x) + std::abs(y);
   if (!(size > 0.0))
      return 0.0;
   const ZqReal part = x / size;
   return y >= 0.0 ? 1.0 - part : 3.0 + part;
}

constexpr std::size_t mostPatchPoints = 8;

/// A point of a patch in its plane, about the mean.
struct PlanePoint
{
   ZqReal x, y;
   ZqReal turn;
   std::size_t place; ///< among the points given

   ZqReal distance(const PlanePoint& p) const noexcept
   {
      return std::sqrt((p.x - x) * (p.x - x) + (p.y - y) * (p.y - y));
   }
};

/// In the order in which they stand round their mean.
std::array<PlanePoint, mostPatchPoints> pointsRound(std::span<const ZqVector> places,
                                                    const ZqVector& normal) noexcept
{
   const zqConvex::Mat3 axes = zqConvex::frameAbout(zqConvex::vec3(normal));
   ZqVector mean;
   for (const ZqVector& p : places)
      mean += p;
   mean /= static_cast<ZqReal>(places.size());
   std::array<PlanePoint, mostPatchPoints> points;
   for (std::size_t i = 0; i < places.size(); ++i)
   {
      const zqConvex::Vec3 p = zqConvex::vec3(places[i] - mean);
      const ZqReal x = dot(axes.c0, p);
      const ZqReal y = dot(axes.c1, p);
      const PlanePoint point{x, y, turnOf(x, y), i};
      // Most patches are in order but for where the turn begins.
      std::size_t k = i;
      for (; k > 0 && points[k - 1].turn > point.turn; --k)
         points[k] = points[k - 1];
      points[k] = point;
   }
   return points;
}
} // namespace

void zqShareOutPatch(std::span<const ZqVector> places, const ZqVector& normal,
                     std::span<ZqReal> weights) noexcept
{
   const std::size_t count = std::min({places.size(), weights.size(), mostPatchPoints});
   if (count == 0)
      return;
   const ZqReal equal = 1.0 / static_cast<ZqReal>(count);
   std::fill(weights.begin(), weights.end(), 0.0);
   std::fill_n(weights.begin(), count, equal);
   if (count < 3)
      return;
   const auto points = pointsRound(places.first(count), normal);
   std::array<ZqReal, mostPatchPoints> edge; // from a point to the next
   ZqReal round = 0.0;
   for (std::size_t i = 0; i < count; ++i)
      round += edge[i] = points[i].distance(points[i + 1 < count ? i + 1 : 0]);
   if (!(round > 0.0 && std::isfinite(round)))
      return;
   const ZqReal perLength = 0.5 / round;
   for (std::size_t i = 0; i < count; ++i)
      weights[points[i].place] = (edge[i] + edge[i > 0 ? i - 1 : count - 1]) * perLength;
}

ZqContactMaterial ZqContactMaterial::ofPair(const ZqContactMaterial& a,
                                            const ZqContactMaterial& b) noexcept
{
   const ZqReal sum = a.stiffness + b.stiffness;
   ZqContactMaterial pair;
   pair.stiffness = sum > 0.0 ? a.stiffness * b.stiffness / sum : 0.0;
   pair.exponent = 0.5 * (a.exponent + b.exponent);
   pair.dissipation = sum > 0.0 ? (b.stiffness * a.dissipation + a.stiffness * b.dissipation) / sum
                                : 0.5 * (a.dissipation + b.dissipation);
   return pair;
}

ZqReal ZqContactMaterial::force(ZqReal depth) const noexcept
{
   return std::min(stiffness * power(depth, exponent), greatestForce);
}

ZqReal ZqContactMaterial::stiffnessAt(ZqReal depth) const noexcept
{
   return exponent * force(depth) / depth;
}

ZqNormalContactLaw::Force ZqNormalContactLaw::force(ZqReal weight, ZqReal depth,
                                                    ZqReal rate) const noexcept
{
   Force result;
   if (!(depth > 0.0))
      return result;
   const ZqReal whole = material.force(depth);
   const ZqReal stiffness = material.exponent * whole / depth;
   const ZqReal damper = 2.0 * settlingRatio * std::sqrt(mass * stiffness);
   result.spring = weight * whole;
   const ZqReal most = settlingFraction * result.spring;
   const ZqReal settling = damper > 0.0 ? std::clamp(weight * damper * rate, -most, most) : 0.0;
   result.normal = std::clamp(result.spring * (1.0 + material.dissipation * rate) + settling, 0.0,
                              greatestForce);
   result.energy = result.spring * depth / (material.exponent + 1.0);
   result.stiffness = stiffness * (1.0 + material.dissipation * std::max(0.0, rate));
   result.dampingTime = (stiffness > 0.0 ? damper / stiffness : 0.0) +
                        material.dissipation * depth / material.exponent;
   return result;
}

ZqContactMaterial ZqPointContactForceProcessor::surfaceMaterial(const ZqDataMap* values) const
{
   static const ZqString constant(ZqFoundCommon::ZqSurfaceTensionSpringConstantToken.localName());
   static const ZqString exponent(ZqManip::ZqSurfaceTensionSpringExponentToken.localName());
   static const ZqString dissipation(ZqManip::ZqSurfaceDissipationToken.localName());
   ZqContactMaterial material{m_defaultSpringConstant, m_defaultSpringExponent,
                              m_defaultDissipation};
   if (values == nullptr)
      return material;
   const auto take = [&](const ZqString& name, const ZqLawRange& range, ZqReal& number)
   {
      const auto found = values->reals().find(name);
      if (found != values->reals().end() && range.holds(found->second))
         number = found->second;
   };
   take(constant, springConstantRange, material.stiffness);
   take(exponent, springExponentRange, material.exponent);
   take(dissipation, dissipationRange, material.dissipation);
   return material;
}

ZqNormalContactLaw ZqPointContactForceProcessor::normalLaw(const ZqContactMaterial& surface1,
                                                           const ZqContactMaterial& surface2,
                                                           ZqReal mass) const noexcept
{
   return {ZqContactMaterial::ofPair(surface1, surface2),
           mass > 0.0 && std::isfinite(mass) ? std::min(mass, 1e75) : 0.0, m_settlingDampingRatio,
           m_settlingForceFraction};
}

bool ZqPointContactForceProcessor::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqBaseCollisionForceProcessor::read(reader);
   const ZqPointContactForceProcessor plain;
   const auto repair = [&](ZqReal ZqPointContactForceProcessor::*number, const ZqLawRange& range,
                           const ZqToken& name)
   { zqRepairLawNumber(this->*number, plain.*number, range, name, reader); };
   using This = ZqPointContactForceProcessor;
   repair(&This::m_defaultSpringConstant, springConstantRange,
          ZqManip::ZqDefaultSpringConstantToken);
   repair(&This::m_defaultSpringExponent, springExponentRange,
          ZqManip::ZqDefaultSpringExponentToken);
   repair(&This::m_defaultDissipation, dissipationRange, ZqManip::ZqDefaultDissipationToken);
   repair(&This::m_settlingDampingRatio, dampingRatioRange, ZqManip::ZqSettlingDampingRatioToken);
   repair(&This::m_settlingForceFraction, forceFractionRange,
          ZqManip::ZqSettlingForceFractionToken);
   return succeeded;
}

void ZqPointContactForceProcessor::setDefaultSpringConstant(ZqReal constant)
{
   zqSetLawNumber(m_defaultSpringConstant, constant, springConstantRange,
                  "ZqPointContactForceProcessor::setDefaultSpringConstant()");
}

void ZqPointContactForceProcessor::setDefaultSpringExponent(ZqReal exponent)
{
   zqSetLawNumber(m_defaultSpringExponent, exponent, springExponentRange,
                  "ZqPointContactForceProcessor::setDefaultSpringExponent()");
}

void ZqPointContactForceProcessor::setDefaultDissipation(ZqReal dissipation)
{
   zqSetLawNumber(m_defaultDissipation, dissipation, dissipationRange,
                  "ZqPointContactForceProcessor::setDefaultDissipation()");
}

void ZqPointContactForceProcessor::setSettlingDampingRatio(ZqReal ratio)
{
   zqSetLawNumber(m_settlingDampingRatio, ratio, dampingRatioRange,
                  "ZqPointContactForceProcessor::setSettlingDampingRatio()");
}

void ZqPointContactForceProcessor::setSettlingForceFraction(ZqReal fraction)
{
   zqSetLawNumber(m_settlingForceFraction, fraction, forceFractionRange,
                  "ZqPointContactForceProcessor::setSettlingForceFraction()");
}
