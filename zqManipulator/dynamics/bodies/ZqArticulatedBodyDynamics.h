#pragma once

#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyInertia.h"

/// An articulated body as it is felt at one of its links: its inertia, and the bias force (N, N m)
/// that holds it at zero acceleration, both about the origin of the link's frame.
class ZqArticulatedBodyDynamics final : public ZqXmlClass<ZqArticulatedBodyDynamics>
{
public:
   ZqArticulatedBodyDynamics() noexcept = default;
   ZqArticulatedBodyDynamics(const ZqArticulatedBodyInertia& inertia,
                             const ZqGeneralForce& bias) noexcept
      : m_inertia(inertia), m_bias(bias)
   {
   }
   ZqArticulatedBodyDynamics(const ZqRigidBodyMassProperties& body, const ZqGeneralForce& bias)
      : m_inertia(body), m_bias(bias)
   {
   }

   static const ZqToken& classToken() { return ZqManip::ZqArticulatedBodyDynamicsToken; }
   static constexpr const char* documentation =
      "articulated body: force = inertia times acceleration, plus bias";
   template <class This = ZqArticulatedBodyDynamics>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_inertia, &ZqManip::ZqInertiaToken,
                     "articulated body inertia, in the frame of the owner"},
         ZqComponent{&This::m_bias, &ZqManip::ZqBiasToken, "force at zero acceleration (N, N m)"}};
   }
   static ZqArticulatedBodyDynamics nullObject() noexcept { return {}; }
   bool operator==(const ZqArticulatedBodyDynamics&) const = default;

   ZqArticulatedBodyDynamics operator+(const ZqArticulatedBodyDynamics& other) const noexcept
   {
      return ZqArticulatedBodyDynamics(*this) += other;
   }
   ZqArticulatedBodyDynamics operator-(const ZqArticulatedBodyDynamics& other) const noexcept
   {
      return ZqArticulatedBodyDynamics(*this) -= other;
   }
   ZqArticulatedBodyDynamics& operator+=(const ZqArticulatedBodyDynamics& other) noexcept
   {
      m_inertia += other.m_inertia;
      m_bias += other.m_bias;
      return *this;
   }
   ZqArticulatedBodyDynamics& operator-=(const ZqArticulatedBodyDynamics& other) noexcept
   {
      m_inertia -= other.m_inertia;
      m_bias -= other.m_bias;
      return *this;
   }

   /// \name Moving the body
   /// As for the inertia, with the bias force.
   /// @{
   virtual void transformBy(const ZqVector& p);
   virtual void transformBy(const ZqOrientation& orientation);
   virtual void transformBy(const ZqCoordinateSystemTransformation& X);
   /// @}

   /// Adds a child in the same frame behind a joint with this unit motion, drive inertia and
   /// torque: the bias gets the child's and u (jointTorque - s . bias) / d (Featherstone 2008, ch.
   /// 7), without the latter for a d of exactly 0.0.
   virtual void joinWith(const ZqArticulatedBodyDynamics& child, const ZqGeneralMotion& jointAxis,
                         const ZqReal& jointInertia, const ZqReal& jointTorque);
   /// The same for a child whose frame is moved by R and then by p, in one go.
   void joinWith(const ZqArticulatedBodyDynamics& child, const ZqGeneralMotion& jointAxis,
                 ZqReal jointInertia, ZqReal jointTorque, const ZqRotationMatrix& R,
                 const ZqVector& p) noexcept;
   /// Becomes what `joinWith` would add.
   virtual void setToTransformedValue(const ZqArticulatedBodyDynamics& child,
                                      const ZqGeneralMotion& jointAxis, const ZqReal& jointInertia,
                                      const ZqReal& jointTorque);
   /// The force at the link that gives it the acceleration, and back.
   virtual ZqGeneralForce calculateForce(const ZqGeneralMotion& acceleration) const;
   virtual ZqGeneralMotion calculateAcceleration(const ZqGeneralForce& force) const;

   virtual const ZqArticulatedBodyInertia& inertia() const { return m_inertia; }
   virtual void setInertia(const ZqArticulatedBodyInertia& inertia) { m_inertia = inertia; }
   virtual void setInertiaFromRigidBody(const ZqRigidBodyMassProperties& body)
   {
      m_inertia.setFromRigidBody(body);
   }
   virtual const ZqGeneralForce& bias() const { return m_bias; }
   virtual void setBias(const ZqGeneralForce& bias) { m_bias = bias; }
   virtual void set(const ZqArticulatedBodyInertia& inertia, const ZqGeneralForce& bias)
   {
      m_inertia = inertia;
      m_bias = bias;
   }
   virtual void setInertiaFromArray(const ZqReArray& array) { m_inertia.setFromArray(array); }
   virtual void getInertiaArray(ZqReArray& array) const { m_inertia.getArray(array); }
   /// True when no number of either differs by more than the tolerance.
   virtual bool approxEq(const ZqArticulatedBodyDynamics& other, ZqReal tolerance) const;

private:
   ZqArticulatedBodyInertia m_inertia;
   ZqGeneralForce m_bias;
};

extern template class ZqXmlClass<ZqArticulatedBodyDynamics>;
