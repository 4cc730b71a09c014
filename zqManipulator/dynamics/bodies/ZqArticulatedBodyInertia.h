#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/spatial/ZqSecondMoment.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

class ZqRigidBodyMassProperties;
namespace zqInertiaKernels
{
struct Articulated;
}

/// The inertia that an articulated body shows at one of its links, about the origin of that link's
/// frame: the symmetric 6 x 6 matrix [A, C; C^T, B] that takes spatial accelerations to spatial
/// forces, linear part first (Featherstone 2008, ch. 7). Zero by default.
///
/// | symbol | meaning                                     | unit   |
/// |--------|---------------------------------------------|--------|
/// | A      | linear matrix, symmetric                    | kg     |
/// | B      | angular matrix, symmetric                   | kg m^2 |
/// | C      | cross matrix, force by angular acceleration | kg m   |
///
/// The flag `isRigid` says that A is a multiple of the unit matrix and C is skew, as those of a
/// single body are. Products then use no other element, so that a caller who sets the flag vouches
/// for it; in a document a flag that the matrices contradict is cleared, with a remark.
class ZqArticulatedBodyInertia final : public ZqXmlClass<ZqArticulatedBodyInertia>
{
public:
   ZqArticulatedBodyInertia() noexcept = default;
   explicit ZqArticulatedBodyInertia(const ZqRigidBodyMassProperties& body);
   ZqArticulatedBodyInertia(const ZqSecondMoment& linear, const ZqSecondMoment& angular,
                            const ZqSpatialMatrix& cross, bool isRigid) noexcept
      : m_linearMatrix(linear), m_angularMatrix(angular), m_crossMatrix(cross), m_isRigid(isRigid)
   {
   }

   static const ZqToken& classToken() { return ZqManip::ZqArticulatedBodyInertiaToken; }
   static constexpr const char* documentation =
      "articulated body inertia: a symmetric 6 x 6 matrix, linear part first";
   template <class This = ZqArticulatedBodyInertia>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_linearMatrix, &ZqManip::ZqLinearMatrixToken,
                     "linear block, symmetric (kg)"},
         ZqComponent{&This::m_angularMatrix, &ZqManip::ZqAngularMatrixToken,
                     "angular block, symmetric (kg m^2)"},
         ZqComponent{&This::m_crossMatrix, &ZqManip::ZqCrossMatrixToken, "coupling block (kg m)"},
         ZqComponent{&This::m_isRigid, &ZqManip::ZqIsRigidToken,
                     "whether it is that of a rigid body"}};
   }
   bool read(ZqXmlReader& reader) override;
   static ZqArticulatedBodyInertia nullObject() noexcept { return {}; }
   bool operator==(const ZqArticulatedBodyInertia&) const = default;

   ZqArticulatedBodyInertia operator+(const ZqArticulatedBodyInertia& other) const noexcept
   {
      return ZqArticulatedBodyInertia(*this) += other;
   }
   ZqArticulatedBodyInertia operator-(const ZqArticulatedBodyInertia& other) const noexcept
   {
      return ZqArticulatedBodyInertia(*this) -= other;
   }
   /// Sums of rigid inertias are rigid.
   ZqArticulatedBodyInertia& operator+=(const ZqArticulatedBodyInertia& other) noexcept
   {
      m_linearMatrix += other.m_linearMatrix;
      m_angularMatrix += other.m_angularMatrix;
      m_crossMatrix += other.m_crossMatrix;
      m_isRigid = m_isRigid && other.m_isRigid;
      return *this;
   }
   ZqArticulatedBodyInertia& operator-=(const ZqArticulatedBodyInertia& other) noexcept
   {
      m_linearMatrix -= other.m_linearMatrix;
      m_angularMatrix -= other.m_angularMatrix;
      m_crossMatrix -= other.m_crossMatrix;
      m_isRigid = m_isRigid && other.m_isRigid;
      return *this;
   }

   /// \name Moving the body
   /// By a translation, a rotation about the origin, or a rotation and then a translation: an
   /// inertia in a frame becomes that in the frame that the transformation maps into. The flag
   /// stays.
   /// @{
   virtual void transformBy(const ZqVector& p);
   virtual void transformBy(const ZqOrientation& orientation);
   virtual void transformBy(const ZqCoordinateSystemTransformation& X);
   /// The same by products of whole matrices, whatever the flag says; slow.
   virtual void transformBy2(const ZqCoordinateSystemTransformation& X);
   /// @}

   /// Adds a child in the same frame, less what the freedom of its joint takes away: with s the
   /// joint's unit motion and j the inertia that its drive adds, u = I s and d = s . u + j, this
   /// becomes this + I - u u^T / d (Featherstone 2008, ch. 7). A d of exactly 0.0 takes nothing
   /// away. The result is not rigid.
   virtual void joinWith(const ZqArticulatedBodyInertia& child, const ZqGeneralMotion& jointAxis,
                         const ZqReal& jointInertia, ZqGeneralForce& u, ZqReal& d);
   virtual void joinWith(const ZqArticulatedBodyInertia& child, const ZqGeneralMotion& jointAxis,
                         const ZqReal& jointInertia);
   /// Becomes what `joinWith` would add.
   virtual void setToTransformedValue(const ZqArticulatedBodyInertia& child,
                                      const ZqGeneralMotion& jointAxis, const ZqReal& jointInertia,
                                      ZqGeneralForce& u, ZqReal& d);
   virtual ZqGeneralForce calculateForce(const ZqGeneralMotion& acceleration) const;
   /// The same with less work for motions with several components of exactly 0.0, such as joint
   /// axes.
   virtual ZqGeneralForce calculateForceSparse(const ZqGeneralMotion& acceleration) const;
   /// The acceleration of a force, by a Cholesky factorisation each time. Where the inertia is not
   /// positive definite, directions whose pivot is but rounding get no acceleration, as
   /// `ZqReArray::choleskyFactor` and its solution have it.
   virtual ZqGeneralMotion calculateAcceleration(const ZqGeneralForce& force) const;

   virtual const ZqSecondMoment& linearMatrix() const { return m_linearMatrix; }
   virtual const ZqSecondMoment& angularMatrix() const { return m_angularMatrix; }
   virtual const ZqSpatialMatrix& crossMatrix() const { return m_crossMatrix; }
   virtual const bool& isRigid() const { return m_isRigid; }
   /// An inertia that is not rigid.
   virtual void set(const ZqSecondMoment& linear, const ZqSecondMoment& angular,
                    const ZqSpatialMatrix& cross)
   {
      m_linearMatrix = linear;
      m_angularMatrix = angular;
      m_crossMatrix = cross;
      m_isRigid = false;
   }
   virtual void setFromRigidBody(const ZqRigidBodyMassProperties& body);
   /// From the upper triangle of an array of at least 6 x 6; a smaller one is rejected with a
   /// message and changes nothing. The result is not rigid.
   virtual void setFromArray(const ZqReArray& array);
   /// Into a 6 x 6 array.
   virtual void getArray(ZqReArray& array) const;
   /// True when no element of the matrices differs by more than the tolerance.
   virtual bool approxEq(const ZqArticulatedBodyInertia& other, ZqReal tolerance) const;

   /// The first form for a child whose frame is moved by R and then by p, in one go.
   void joinWith(const ZqArticulatedBodyInertia& child, const ZqGeneralMotion& jointAxis,
                 ZqReal jointInertia, const ZqRotationMatrix& R, const ZqVector& p,
                 ZqGeneralForce& u, ZqReal& d) noexcept;
   /// Moves the body by R and then by p, for callers that move several values alike.
   void transformBy(const ZqRotationMatrix& R, const ZqVector& p) noexcept;

private:
   void rotate(const ZqRotationMatrix& R) noexcept;
   void translate(const ZqVector& p) noexcept;
   zqInertiaKernels::Articulated plain() const noexcept;
   void takePlain(const zqInertiaKernels::Articulated& body) noexcept;

   ZqSecondMoment m_linearMatrix;
   ZqSecondMoment m_angularMatrix;
   ZqSpatialMatrix m_crossMatrix;
   bool m_isRigid = true;
};

extern template class ZqXmlClass<ZqArticulatedBodyInertia>;
