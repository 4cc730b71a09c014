#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/manipulator/ZqLinkUnion.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/tools/conversion/ZqDhFrameChange.h"
#include "zqManipulator/tools/conversion/ZqKinematicsConversionTool.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace
{
using Transform = ZqCoordinateSystemTransformation;
using Dh = ZqDenavitHartenberg;

/// A change of the zero of a joint (rad), with the whole turns that are wanted: by link.
using Turns = std::function<ZqReal(const ZqManipulatorLink&, ZqReal)>;

constexpr ZqReal rounding = 64.0 * std::numeric_limits<ZqReal>::epsilon();

/// Turns about z and slides along it.
Transform screw(ZqReal angle, ZqReal height)
{
   return {ZqVector::zVector(height), ZqOrientation::zRotation(angle)};
}

Transform normalized(const Transform& X)
{
   ZqOrientation orientation = X.orientation();
   orientation.normalize();
   return {X.translation(), orientation};
}

/// A frame as Tx(a) Rx(alpha) Rz(theta) Tz(d).
struct CraigForm
{
   ZqReal a = 0.0;
   ZqReal alpha = 0.0;
   ZqReal theta = 0.0;
   ZqReal d = 0.0;
   bool isAll = false; ///< nothing of the frame is left, but for rounding

   Transform frame() const
   {
      return Transform(ZqVector::xVector(a), ZqOrientation::xRotation(alpha)) * screw(theta, d);
   }
   static CraigForm of(const Transform& M, ZqReal size)
   {
      const ZqVector x = M.orientation().xAxis();
      const ZqVector z = M.orientation().zAxis();
      const ZqVector& p = M.translation();
      CraigForm form;
      form.alpha = std::atan2(-z.y(), z.z());
      const ZqVector inPlane(0.0, std::cos(form.alpha), std::sin(form.alpha));
      form.theta = std::atan2(x.dot(inPlane), x.x());
      form.a = p.x();
      form.d = p.z() * inPlane.y() - p.y() * inPlane.z();
      form.isAll = std::abs(z.x()) <= rounding && std::abs(p.dot(inPlane)) <= rounding * size;
      return form;
   }
};

/// A frame as a screw, Craig's form and what is left before it: M = screw residual form.
struct Placement
{
   Transform lead;   ///< screw and residual
   Transform onAxis; ///< the screw alone
   CraigForm form;

   /// The height is that where the frame on the axis stood, from which its foot is not to go further than
   /// the size.
   static Placement of(const Transform& M, ZqReal height, ZqReal size)
   {
      const ZqVector z = M.orientation().zAxis();
      const ZqVector& r = M.translation();
      const ZqReal sine = std::hypot(z.x(), z.y());
      const ZqReal noLength = rounding * size;
      // The direction of x, and a along it.
      ZqVector x(sine > 0.0 ? -z.y() / sine : 1.0, sine > 0.0 ? z.x() / sine : 0.0, 0.0);
      const ZqVector y(-x.y(), x.x(), 0.0);
      const ZqReal slide = sine > 0.0 ? -y.dot(r) / y.dot(z) : 0.0;
      ZqReal foot = r.z() + slide * z.z();
      if (!(sine > 0.0 && std::abs(slide) <= size && std::abs(foot - height) <= size))
      {
         // As if parallel: towards the other axis, at the height where the frame stood.
         const ZqReal distance = std::hypot(r.x(), r.y());
         x = distance > noLength ? ZqVector(r.x(), r.y(), 0.0) / distance : ZqVector::xVector(1.0);
         foot = height;
      }
      const ZqReal a = x.dot(r);
      if (a < -noLength || (std::abs(a) <= noLength && x.x() < 0.0))
         x = -x;
      Placement placement;
      placement.onAxis = screw(std::atan2(x.y(), x.x()), foot);
      const Transform rest = placement.onAxis.inverse() * M;
      placement.form = CraigForm::of(rest, size);
      placement.lead = placement.onAxis;
      if (!placement.form.isAll)
      {
         placement.form.a = rest.translation().x();
         placement.lead = normalized(placement.onAxis * rest * placement.form.frame().inverse());
      }
      return placement;
   }
};

bool canBeConverted(const ZqManipulatorLink& link)
{
   return ZqJointAxis::of(link.linkKinematicsContainer()).kind == zqMotion::JointKind::Revolute;
}

/// Converts links from the inboard ones out, and keeps a record of the joints that have a new zero.
class CraigConversion
{
public:
   CraigConversion(ZqIndividualManipulator& manipulator, Turns turns)
      : m_manipulator(manipulator), m_turns(std::move(turns)), m_oldInNew(manipulator.jointDof())
   {
      const auto lengths = [](const Transform& X) { return X.translation().mag(); };
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      {
         const ZqJointAxis axis = ZqJointAxis::of(link->linkKinematicsContainer());
         m_size += lengths(axis.inInboard) + lengths(axis.dhFrame) + lengths(link->primaryFrame());
      }
   }

   /// The D-H frame that a link of an index below the count had, in its new one.
   Transform& oldInNew(ZqU32 index) { return m_oldInNew[index]; }

   /// The old D-H frame of the parent is told in its new one.
   void convert(ZqU32 index, const Transform& inboardChange, bool fitsToChildren)
   {
      ZqManipulatorLink& link = *m_manipulator.linkByIndex(index);
      const auto& old = static_cast<const Dh&>(*link.linkKinematicsContainer().topElement());
      const ZqJointAxis axis = ZqJointAxis::of(link.linkKinematicsContainer());
      const Transform onAxis = dhFrameOn(axis, link, fitsToChildren);
      const Transform outboardChange = normalized(onAxis.inverse() * axis.dhFrame);
      m_oldInNew[index] = outboardChange;
      const auto isIdentity = [](const Transform& X)
      { return X.translation() == ZqVector() && X.orientation().isIdentity(); };
      if (isIdentity(inboardChange) && isIdentity(outboardChange) && old.dhType() == Dh::Craig)
      {
         moveZero(link, 0.0);
         return;
      }
      const Transform M = normalized(inboardChange * axis.inInboard * onAxis);
      Placement placement;
      placement.form = CraigForm::of(M, m_size);
      const bool isPlain = placement.form.isAll;
      if (!isPlain)
         placement = Placement::of(M, 0.0, m_size);
      Dh joint = old;
      joint.setDhType(isPlain ? Dh::Craig : Dh::GeneralCraig);
      joint.setPrecursor(placement.lead);
      joint.setDhA(placement.form.a);
      joint.setDhAlpha(placement.form.alpha);
      joint.setDhD(placement.form.d);
      joint.setPrimaryFrame(outboardChange * old.primaryFrame());
      link.setLinkKinematics(joint);
      // What is no more than rounding leaves the zero where it is.
      const ZqReal theta = placement.form.theta;
      moveZero(link, std::abs(theta) < 0.125 * rounding ? 0.0 : theta);
   }

   void finish()
   {
      m_manipulator.apply(m_edit);
      m_manipulator.fitAbsoluteBoundingSphere();
   }

private:
   void moveZero(const ZqManipulatorLink& link, ZqReal angle)
   {
      const ZqReal shift = m_turns ? m_turns(link, angle) : angle;
      if (shift != 0.0)
         m_edit.restate(link.linkIndex(), link.linkLabel(), {{}, 1.0, shift});
   }

   /// Where the new D-H frame stands in the axis frame: where x or the origin fits a child, or else where the
   /// frame stood, without what leads off the axis.
   Transform dhFrameOn(const ZqJointAxis& axis, const ZqManipulatorLink& link,
                       bool fitsToChildren) const
   {
      const ZqReal height = axis.dhFrame.translation().z();
      const Transform stays(ZqVector::zVector(height));
      const auto& children = link.childLinks();
      const Transform fromStays = stays.inverse() * axis.dhFrame;
      const auto childAxis = [](const ZqManipulatorLink& child)
      { return ZqJointAxis::of(child.linkKinematicsContainer()).inInboard; };
      if (!fitsToChildren || children.size() == 0 ||
          std::any_of(children.begin(), children.end(),
                      [&](const ZqManipulatorLink& child)
                      { return CraigForm::of(fromStays * childAxis(child), m_size).isAll; }))
         return stays;
      return Placement::of(axis.dhFrame * childAxis(children[0]), height, m_size).onAxis;
   }

   ZqIndividualManipulator& m_manipulator;
   Turns m_turns;
   std::vector<Transform> m_oldInNew; ///< by link index
   ZqReal m_size = 0.0;
   ZqLinkEdit m_edit;
};

void reject(const char* message, unsigned number = 0)
{
   Zq::Print::instance().write(Zq::Rejected, message, static_cast<int>(number));
}

/// What an operation says of a manipulator that it does not convert.
struct Messages
{
   const char* badManipulator;
   const char* badLink;
   const char* badJoint;
};

constexpr Messages ofAny{
   "ZqKinematicsConversionTool::convertManipulatorToCraigsDhForm(): index (%d) out of range\n",
   "ZqKinematicsConversionTool::convertManipulatorToCraigsDhForm(): bad link index (%d).\n",
   "ZqKinematicsConversionTool::convertManipulatorToCraigsDhForm(): system with non-rotational DH "
   "kinematics cannot be converted.\n"};
constexpr Messages ofChain{
   "ZqKinematicsConversionTool::convertSerialManipulatorToCraigsDhForm(): index (%d) out of "
   "range\n",
   "ZqKinematicsConversionTool::convertSerialManipulatorToCraigsDhForm(): bad link index (%d).\n",
   "ZqKinematicsConversionTool::convertSerialManipulatorToCraigsDhForm(): system with "
   "non-rotational DH kinematics cannot be converted.\n"};
constexpr Messages ofTree{"ZqKinematicsConversionTool::convertBifurcatingManipulatorToCraigsDhForm("
                          "): index (%d) out of range\n",
                          "ZqKinematicsConversionTool::convertBifurcatingManipulatorToCraigsDhForm("
                          "): bad link index (%d).\n",
                          "ZqKinematicsConversionTool::convertBifurcatingManipulatorToCraigsDhForm("
                          "): system with non-rotational DH kinematics cannot be converted.\n"};
constexpr Messages ofLink{
   "ZqKinematicsConversionTool::convertBifurcatingLinkAndChildrenToCraigsDhForm(): manipulator "
   "index (%d) out of range\n",
   "ZqKinematicsConversionTool::convertBifurcatingLinkAndChildrenToCraigsDhForm(): link index (%d) "
   "out of range\n",
   "ZqKinematicsConversionTool::convertBifurcatingLinkAndChildrenToCraigsDhForm(): system with "
   "non-rotational DH kinematics cannot be converted.\n"};

/// What a walk over the joints of a manipulator meets first.
enum class Finding
{
   None,
   Fork,
   Misfit ///< of which a message tells
};

Finding walk(const Messages& messages, const ZqStatedSystem& source, unsigned index,
             bool stopsAtForks)
{
   const ZqIndividualManipulator* manipulator = source.manipulatorByIndex(index);
   if (manipulator == nullptr)
   {
      reject(messages.badManipulator, index);
      return Finding::Misfit;
   }
   if (stopsAtForks && manipulator->childLinks().size() > 1)
      return Finding::Fork;
   for (ZqU32 i = 0; i < manipulator->jointDof(); ++i)
   {
      const ZqManipulatorLink* link = manipulator->linkByIndex(i);
      if (link == nullptr)
         reject(messages.badLink, i);
      else if (stopsAtForks && link->childLinks().size() > 1)
         return Finding::Fork;
      else if (!canBeConverted(*link))
         reject(messages.badJoint);
      else
         continue;
      return Finding::Misfit;
   }
   return Finding::None;
}

bool convertTree(ZqStatedSystem& system, unsigned index, bool withBase, const Turns& turns)
{
   return system.restateManipulator(
      index,
      [&](ZqIndividualManipulator& manipulator)
      {
         // As told of a chain; a base without a joint has the identity already.
         if (withBase && !(manipulator.primaryFrame() == Transform::identity()))
            manipulator.transformPrimaryFrame(manipulator.linkLabel(), Transform::identity());
         CraigConversion conversion(manipulator, turns);
         for (ZqU32 i = 0; i < manipulator.jointDof(); ++i)
         {
            const ZqU32 parent = manipulator.linkByIndex(i)->parentLink()->linkIndex();
            conversion.convert(
               i, parent == ZqBaseLinkIndex ? Transform() : conversion.oldInNew(parent), true);
         }
         conversion.finish();
      });
}

bool convertSerial(const ZqStatedSystem& source, ZqStatedSystem& result, unsigned index,
                   const Turns& turns)
{
   const Finding finding = walk(ofChain, source, index, true);
   if (finding == Finding::Fork)
      reject("ZqKinematicsConversionTool::convertSerialManipulatorToCraigsDhForm(): bifuracting "
             "system cannot be converted.\n");
   if (finding != Finding::None)
      return false;
   result = source;
   return convertTree(result, index, true, turns);
}

bool convertForked(const ZqStatedSystem& source, ZqStatedSystem& result, unsigned index,
                   const Turns& turns)
{
   if (walk(ofTree, source, index, false) != Finding::None)
      return false;
   result = source;
   return convertTree(result, index, false, turns);
}

bool convert(const ZqStatedSystem& source, ZqStatedSystem& result, unsigned index,
             const Turns& turns)
{
   const Finding finding = walk(ofAny, source, index, true);
   if (finding == Finding::Fork)
      return convertForked(source, result, index, turns);
   return finding == Finding::None && convertSerial(source, result, index, turns);
}

/// An angle, with whole turns more or less, as near to a target as can be.
ZqReal nearest(ZqReal angle, ZqReal target)
{
   return angle + 2.0 * ZqMath::pi * std::round((target - angle) / (2.0 * ZqMath::pi));
}
} // namespace

bool ZqKinematicsConversionTool::convertManipulatorToCraigsDhForm(
   const ZqStatedSystem& source, ZqStatedSystem& result, unsigned int manipulatorIndex) const
{
   return convert(source, result, manipulatorIndex, nullptr);
}

bool ZqKinematicsConversionTool::convertManipulatorToCraigsDhForm(
   const ZqStatedSystem& source, ZqStatedSystem& result, unsigned int manipulatorIndex,
   const std::vector<bool>& useCenters, const std::vector<bool>& useShifts,
   const std::vector<double>& centers, const std::vector<double>& shifts, const double* center,
   const double* shift) const
{
   const auto isFinite = [](ZqReal number) { return std::isfinite(number); };
   if (!std::all_of(centers.begin(), centers.end(), isFinite) ||
       !std::all_of(shifts.begin(), shifts.end(), isFinite) ||
       (center != nullptr && !isFinite(*center)) || (shift != nullptr && !isFinite(*shift)))
   {
      reject("ZqKinematicsConversionTool::convertManipulatorToCraigsDhForm(): centers and shifts "
             "must be finite.\n");
      return false;
   }
   const auto chosen = [](const std::vector<bool>& uses, const std::vector<double>& values, ZqU32 i)
   { return i < uses.size() && uses[i] && i < values.size() ? &values[i] : nullptr; };
   const auto& positions = source.state().positionStates();
   const auto middleOf = [&](const ZqManipulatorLink& link)
   {
      const ZqReal lower = link.jointActuator().lowerLimit();
      const ZqReal upper = link.jointActuator().upperLimit();
      const ZqU32 i = link.linkIndex();
      if (std::abs(lower) < 1e300 && std::abs(upper) < 1e300)
         return 0.5 * (lower + upper);
      if (manipulatorIndex < positions.size() &&
          i < positions[manipulatorIndex].jointPositions().size())
         return positions[manipulatorIndex].jointPositions()[i];
      return 0.0;
   };
   const Turns turns = [&](const ZqManipulatorLink& link, ZqReal angle)
   {
      const ZqU32 i = link.linkIndex();
      const double* const ownCenter = chosen(useCenters, centers, i);
      const double* const ownShift = chosen(useShifts, shifts, i);
      const bool hasOwn = ownCenter != nullptr || ownShift != nullptr;
      const double* const aim = hasOwn ? ownCenter : center;
      if (aim != nullptr)
         return nearest(angle, *aim - middleOf(link));
      const double* const change = hasOwn ? ownShift : shift;
      return change != nullptr ? nearest(angle, *change) : angle;
   };
   return convert(source, result, manipulatorIndex, turns);
}

bool ZqKinematicsConversionTool::convertSerialManipulatorToCraigsDhForm(
   const ZqStatedSystem& source, ZqStatedSystem& result, unsigned int manipulatorIndex) const
{
   return convertSerial(source, result, manipulatorIndex, nullptr);
}

bool ZqKinematicsConversionTool::convertBifurcatingManipulatorToCraigsDhForm(
   const ZqStatedSystem& source, ZqStatedSystem& result, unsigned int manipulatorIndex) const
{
   return convertForked(source, result, manipulatorIndex, nullptr);
}

bool ZqKinematicsConversionTool::convertBifurcatingLinkAndChildrenToCraigsDhForm(
   ZqStatedSystem& system, unsigned int manipulatorIndex, unsigned int linkIndex,
   const ZqCoordinateSystemTransformation& inboardChange, bool withChildren) const
{
   const ZqIndividualManipulator* source = system.manipulatorByIndex(manipulatorIndex);
   if (source == nullptr)
   {
      reject(ofLink.badManipulator, manipulatorIndex);
      return false;
   }
   if (linkIndex >= source->jointDof())
   {
      reject(ofLink.badLink, linkIndex);
      return false;
   }
   const ZqU32 end =
      withChildren ? linkIndex + source->linkByIndex(linkIndex)->subtreeLinkCount() : linkIndex + 1;
   for (ZqU32 i = linkIndex; i < end; ++i)
      if (!canBeConverted(*source->linkByIndex(i)))
      {
         reject(ofLink.badJoint);
         return false;
      }
   const char* fault = nullptr;
   if (!withChildren)
      for (const ZqManipulatorLink& child : source->linkByIndex(linkIndex)->childLinks())
         if (child.linkKinematicsContainer().topElement() == nullptr)
            fault = "a child has no joint, and would move";
   if (!ZqLinkUnion::isRigid(inboardChange))
      fault = "the transformation is not a rigid one";
   if (fault != nullptr)
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqKinematicsConversionTool::"
         "convertBifurcatingLinkAndChildrenToCraigsDhForm(): link \"%s\": %s.\n",
         source->linkByIndex(linkIndex)->linkLabel().c_str(), fault);
      return false;
   }
   const Transform change = inboardChange;
   return system.restateManipulator(
      manipulatorIndex,
      [&](ZqIndividualManipulator& manipulator)
      {
         CraigConversion conversion(manipulator, nullptr);
         for (ZqU32 i = linkIndex; i < end; ++i)
         {
            const ZqU32 parent = manipulator.linkByIndex(i)->parentLink()->linkIndex();
            conversion.convert(i, i == linkIndex ? change : conversion.oldInNew(parent),
                               withChildren);
         }
         // Children that are not converted stay where they are.
         if (!withChildren)
            zqDhFrameChange::tellChildren(*manipulator.linkByIndex(linkIndex),
                                          conversion.oldInNew(linkIndex));
         conversion.finish();
      });
}
