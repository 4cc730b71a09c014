#pragma once

#include "zqManipulator/foundation/algebra/ZqCacheFlag.h"
#include "zqManipulator/foundation/algebra/ZqNonNegReal.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/spatial/ZqSecondMoment.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

#include <iosfwd>

class ZqCapsule;
class ZqEllipsoid;
class ZqLozenge;
class ZqShape;
class ZqTriangularLozenge;

/// The mass (kg), first moment (kg m) and second moment (kg m^2) of a rigid body about the origin
/// of a frame that the user knows. The center of mass is derived: the first moment divided by the
/// mass.
///
/// | symbol | meaning                                                                |
/// |--------|------------------------------------------------------------------------|
/// | m      | mass                                                                   |
/// | h      | first moment, m c with c the center of mass                            |
/// | I      | second moment about the origin of the frame, not the center of mass    |
/// | M      | spatial inertia [m E, -[h x]; [h x], I], 6 x 6, linear part first      |
///
/// All are zero by default, which `isValid` refuses; `nullObject` is the nearest valid record. Sums
/// are meaningful for records in the same frame.
///
/// The inverse of I and the Cholesky factor of M are computed when asked for and kept. Operations
/// say which of the two they invalidate; the others leave a stale one in use. Any number of threads may
/// query one record. Copies copy m, h and I alone.
class ZqRigidBodyMassProperties final : public ZqXmlClass<ZqRigidBodyMassProperties>
{
public:
   /// The smallest mass of a valid record, in kg.
   static constexpr ZqReal smallestMass = 1e-9;

   ZqRigidBodyMassProperties() noexcept = default;
   /// Made valid.
   ZqRigidBodyMassProperties(const ZqNonNegReal& mass, const ZqVector& firstMoment,
                             const ZqSecondMoment& secondMoment);
   ZqRigidBodyMassProperties(const ZqRigidBodyMassProperties& other) noexcept
      : ZqXmlClass(other), m_mass(other.m_mass), m_firstMoment(other.m_firstMoment),
        m_secondMoment(other.m_secondMoment)
   {
   }
   ZqRigidBodyMassProperties& operator=(const ZqRigidBodyMassProperties& other) noexcept
   {
      if (this == &other)
         return *this;
      ZqXmlClass::operator=(other);
      m_mass = other.m_mass;
      m_firstMoment = other.m_firstMoment;
      m_secondMoment = other.m_secondMoment;
      clearCaches();
      return *this;
   }
   ~ZqRigidBodyMassProperties() override = default;

   static const ZqToken& classToken() { return ZqManip::ZqRigidBodyMassPropertiesToken; }
   static constexpr const char* documentation =
      "mass and moments of a rigid body about the origin of a frame: the primary frame of the link "
      "that holds it";
   template <class This = ZqRigidBodyMassProperties>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_mass, &ZqManip::ZqMassToken, "mass (kg), at least 1e-9"},
         ZqComponent{&This::m_firstMoment, &ZqManip::ZqFirstMomentToken,
                     "x y z of mass times center of mass (kg m)"},
         ZqComponent{
            &This::m_secondMoment, &ZqFoundCommon::ZqSecondMomentToken,
            "second moment about the origin of the frame, not about the center of mass (kg m^2)"}};
   }
   /// Ends in a valid record, also after a failure; a remark names each value that had to be
   /// changed. Invalidates the Cholesky factor only.
   bool read(ZqXmlReader& reader) override;

   /// The smallest valid mass, with no moments.
   static ZqRigidBodyMassProperties nullObject();
   /// A record with odd values, for samples.
   static ZqRigidBodyMassProperties defaultObject();
   /// A mass at the origin.
   static ZqRigidBodyMassProperties pointMass(ZqReal mass);

   /// \name Uniform solids
   /// Of a mass (kg) and of lengths in metres, made valid. Axis-aligned ones stand about their own frame with
   /// the axis of symmetry along z. Some of them are not the integrals over the solid, as is said there:
   /// `ZqExactSolid` has those.
   /// @{
   /// The solid that fills a shape, in the shape's frame: a sphere, capsule, box, lozenge (with 20
   /// divisions), cylinder, cone, circular lozenge or triangular lozenge (with 100). Anything else, and null,
   /// gives `defaultObject`, whatever the mass.
   static ZqRigidBodyMassProperties massPropertiesFromShape(ZqReal mass, const ZqShape* shape);
   /// Whether `massPropertiesFromShape` knows the shape.
   static bool isShapeSupported(const ZqShape* shape);

   static ZqRigidBodyMassProperties uniformSolidSphere(ZqReal mass, ZqReal radius);
   static ZqRigidBodyMassProperties uniformSphericalShell(ZqReal mass, ZqReal radius);
   /// The half with z >= 0 of a ball about the origin. The first moment is 3/8 of the radius for every mass:
   /// it is that of 1 kg.
   static ZqRigidBodyMassProperties uniformSolidHemisphere(ZqReal mass, ZqReal radius);
   static ZqRigidBodyMassProperties uniformSolidAxisAlignedCylinder(ZqReal mass, ZqReal radius,
                                                                    ZqReal length);
   /// Of whole lengths, not halves.
   static ZqRigidBodyMassProperties uniformSolidAxisAlignedRectangularPrism(ZqReal mass, ZqReal x,
                                                                            ZqReal y, ZqReal z);
   /// Of semi-axes.
   static ZqRigidBodyMassProperties uniformSolidAxisAlignedEllipsoid(ZqReal mass, ZqReal a,
                                                                     ZqReal b, ZqReal c);
   /// The minor radius is that of the ring's cross section, the major that of its middle line.
   static ZqRigidBodyMassProperties uniformSolidAxisAlignedTorus(ZqReal mass, ZqReal majorRadius,
                                                                 ZqReal minorRadius);
   /// A frustum with the first radius at z = 0 and the second at z = length.
   static ZqRigidBodyMassProperties uniformSolidAxisAlignedCone(ZqReal mass, ZqReal radiusOne,
                                                                ZqReal radiusTwo, ZqReal length);
   /// A disc in the plane of x and y that is swept by a ball of the radius. The moments about x and y contain
   /// the mean square of z for 1 kg, whatever the mass: they are too large by (1 - mass) times that.
   static ZqRigidBodyMassProperties
   uniformSolidAxisAlignedCircularLozenge(ZqReal mass, ZqReal radius, ZqReal discRadius);
   /// A cylinder between two hemispheres, with their first moments of 1 kg: the moments across the axis are
   /// too large by 3/4 radius length (1 - cap), where `cap` is the mass of one hemisphere.
   static ZqRigidBodyMassProperties uniformSolidCapsule(ZqReal mass, const ZqCapsule& capsule);
   /// By a sum over divisions^2 columns of an octant, each as thick as at its corner next to the middle. With
   /// 20 divisions the moments of usual plates are off by -5 to 3 %.
   static ZqRigidBodyMassProperties uniformSolidLozenge(ZqReal mass, const ZqLozenge& lozenge,
                                                        unsigned int divisions);
   /// By a sum over those of divisions^3 points that are in the shape: the lower corners of the cells of a grid
   /// over the half above the middle plane. With 100 divisions the moments of usual plates are off by less
   /// than 1 %, and the center by less than half a cell. Takes milliseconds.
   static ZqRigidBodyMassProperties
   uniformSolidTriangularLozenge(ZqReal mass, const ZqTriangularLozenge& lozenge,
                                 unsigned int divisions);
   /// @}

   /// Component by component, made valid.
   ZqRigidBodyMassProperties operator+(const ZqRigidBodyMassProperties& other) const;
   ZqRigidBodyMassProperties operator-(const ZqRigidBodyMassProperties& other) const;
   /// Component by component, as they come. Both invalidate factor and inverse.
   ZqRigidBodyMassProperties& operator+=(const ZqRigidBodyMassProperties& other) noexcept
   {
      m_mass = m_mass + other.m_mass;
      m_firstMoment += other.m_firstMoment;
      m_secondMoment += other.m_secondMoment;
      clearCaches();
      return *this;
   }
   /// A difference of masses stops at zero.
   ZqRigidBodyMassProperties& operator-=(const ZqRigidBodyMassProperties& other) noexcept
   {
      m_mass = m_mass - other.m_mass;
      m_firstMoment -= other.m_firstMoment;
      m_secondMoment -= other.m_secondMoment;
      clearCaches();
      return *this;
   }
   bool operator==(const ZqRigidBodyMassProperties& other) const noexcept
   {
      return m_mass == other.m_mass && m_firstMoment == other.m_firstMoment &&
             m_secondMoment == other.m_secondMoment;
   }

   /// \name Moving the body
   /// By a translation, a rotation about the origin, or a rotation and then a translation: a record
   /// in a frame becomes that in the frame that the transformation maps into. Factor and inverse
   /// are invalidated.
   /// @{
   virtual ZqRigidBodyMassProperties& transformBy(const ZqVector& p);
   virtual ZqRigidBodyMassProperties& transformBy(const ZqOrientation& orientation);
   virtual ZqRigidBodyMassProperties& transformBy(const ZqCoordinateSystemTransformation& X);
   /// @}

   /// The spatial force M a at zero velocity.
   virtual ZqGeneralForce calculateForce(const ZqGeneralMotion& acceleration) const
   {
      const ZqVector& h = m_firstMoment;
      const ZqVector& linear = acceleration.linear();
      const ZqVector& angular = acceleration.angular();
      return {linear * m_mass - h.cross(angular), m_secondMoment * angular + h.cross(linear)};
   }
   /// The same with the forces of the angular velocity; the linear velocity plays no part.
   virtual ZqGeneralForce calculateForce(const ZqGeneralMotion& velocity,
                                         const ZqGeneralMotion& acceleration) const
   {
      const ZqVector& omega = velocity.angular();
      const ZqVector& h = m_firstMoment;
      const ZqVector& linear = acceleration.linear();
      const ZqVector& angular = acceleration.angular();
      return {linear * m_mass - h.cross(angular) - omega.cross(h.cross(omega)),
              m_secondMoment * angular + omega.cross(m_secondMoment * omega) + h.cross(linear)};
   }
   /// The acceleration a of M a = F at zero velocity, by the Cholesky factor. Directions in which
   /// the body has no inertia are divided by 1e-300.
   virtual ZqGeneralMotion calculateAcceleration(const ZqGeneralForce& force) const;
   /// The same of a body that turns.
   virtual ZqGeneralMotion calculateAcceleration(const ZqGeneralMotion& velocity,
                                                 const ZqGeneralForce& force) const;

   virtual const ZqNonNegReal& mass() const { return m_mass; }
   virtual const ZqVector& firstMoment() const { return m_firstMoment; }
   virtual const ZqSecondMoment& secondMoment() const { return m_secondMoment; }
   /// The zero matrix when I has no inverse.
   virtual const ZqSpatialMatrix& invSecondMoment() const;
   /// Made valid when asked for. Invalidates the Cholesky factor only.
   virtual void set(ZqNonNegReal mass, const ZqVector& firstMoment,
                    const ZqSecondMoment& secondMoment, bool validate);
   /// The zero vector for a mass of zero.
   virtual void getCenterOfMass(ZqVector& center) const;
   /// The frame of the principal axes at the center of mass. Always true; moments that are not
   /// finite give the axes of the frame itself.
   virtual bool getPrincipalFrame(ZqCoordinateSystemTransformation& frame) const;
   /// A finite mass of at least `smallestMass` and a second moment, as it stands, that passes its
   /// own test. That asks whether some body has this second moment, not whether one with this center of
   /// mass does: see `isPossible`.
   virtual bool isValid() const;
   /// The lower L (6 x 6) of M = L L^T. A column for which the inertia about the center of mass is
   /// not positive definite is zero.
   virtual const ZqReArray& spatialCholeskyDecomposition() const;
   /// M.
   virtual void getArray(ZqReArray& array) const;
   /// True when neither the masses nor any component of the moments differ by more than the
   /// tolerance.
   virtual bool approxEq(const ZqRigidBodyMassProperties& other, ZqReal tolerance) const;
   /// Scales the body's lengths at constant density. Invalidates nothing.
   virtual void scaleBy(ZqReal factor);
   /// The ellipsoid of uniform density (kg/m^3) that has this mass and these moments. No semi-axis
   /// is below 1e-12.
   virtual void getEllipsoid(ZqEllipsoid& ellipsoid, ZqReal& density) const;
   /// A mass that is below `smallestMass` or not finite becomes that, and a first moment that is
   /// not finite becomes zero. A second moment that no body can have is repaired about the center
   /// of mass, which stays; where that overflows it is repaired about the origin.
   virtual void makeValid();

   /// Whether a distribution of positive mass has these values: the pseudo-inertia [S, h; h^T, m], with
   /// S = tr(I)/2 E - I the integral of r r^T dm, is positive semidefinite (Wensing, Kim and Slotine 2018,
   /// sec. III). For m > 0 that is so when the principal moments about the center of mass obey the
   /// triangle inequality, which is what is tested: `isValid` asks this about the origin, where every
   /// offset h adds to both sides. A body without mass has no moments.
   ///
   /// The moments about the center of mass are differences, with the rounding of the larger ones about
   /// the origin. So what they lack may be as much as the tolerance times the trace of I; the tolerance is
   /// that of second moments, which leaves room for values that were written with ten digits.
   bool isPossible(ZqReal tolerance = ZqSecondMoment::validityTolerance) const;
   /// The principal moments about the center of mass, ascending (kg m^2). False when a value is not
   /// finite.
   bool getPrincipalMoments(ZqVector& moments) const;

   /// Adds a body that is moved by R and then by p.
   void add(const ZqRigidBodyMassProperties& body, const ZqRotationMatrix& R,
            const ZqVector& p) noexcept;
   /// Moves the body by R and then by p, for callers that move several values alike.
   ZqRigidBodyMassProperties& transformBy(const ZqRotationMatrix& R, const ZqVector& p) noexcept;

   friend std::ostream& operator<<(std::ostream& stream, const ZqRigidBodyMassProperties& body);

protected:
   virtual void computeSecondMomentInverse() const;

private:
   void clearCaches() noexcept
   {
      m_inverseIsValid.lower();
      m_choleskyIsValid.lower();
   }
   void computeCholeskyDecomposition() const;

   ZqNonNegReal m_mass;
   ZqVector m_firstMoment;
   ZqSecondMoment m_secondMoment;
   mutable ZqSpatialMatrix m_inverseSecondMoment;
   mutable ZqCacheFlag m_inverseIsValid;
   mutable ZqReArray m_cholesky;
   mutable ZqCacheFlag m_choleskyIsValid;
};

extern template class ZqXmlClass<ZqRigidBodyMassProperties>;
