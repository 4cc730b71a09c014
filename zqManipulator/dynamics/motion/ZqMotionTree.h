#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionAlgebra.h"

// The model as the sweeps see it: plain numbers by link index, parents before their children.
//
// Each link has an *axis frame*, in which all of its numbers stand: its z axis is the axis of the link's joint,
// so that the joint's unit motion is a unit vector. The DH frame stands in it by a constant B, which is the
// identity but in Paul's conventions.
namespace zqMotion
{
enum class JointKind : unsigned char
{
   Revolute,  ///< turns about z by q (rad)
   Prismatic, ///< slides along z by q (m)
   Slot       ///< any other: its virtual functions are asked in every state, and fill a `Slot`
};

/// A joint, constant in the model.
struct Joint
{
   int parent; ///< -1 for the base
   int end;    ///< one past the last link of the subtree
   int depth;  ///< the number of joints between this one and the base
   int slot;   ///< its number among the joints of kind `Slot`; -1 for any other
   JointKind kind;
   bool isTwist;         ///< E turns about x alone, by the angle of cosTwist; not for a `Slot`
   bool hasDhOffset;     ///< B is not the identity
   Mat3<ZqReal> E;       ///< the axis frame at q = 0 in that of the parent
   Vec3<ZqReal> p;       ///< its origin (m)
   Quat<ZqReal> EAsQuat; ///< E as a quaternion
   ZqReal cosTwist, sinTwist;
   ZqReal driveInertia; ///< what the drive adds to the inertia at the joint (kg m^2, or kg)
   Mat3<ZqReal> B;      ///< the DH frame in the axis frame
   Vec3<ZqReal> pB;
   Quat<ZqReal> BAsQuat;
};

/// A rigid body in the axis frame of its link, about its origin.
struct Body
{
   ZqReal m;       ///< mass (kg)
   Vec3<ZqReal> h; ///< first moment: mass times center of mass (kg m)
   Sym3<ZqReal> S; ///< integral of r r^T dm (kg m^2); the second moment is trace(S) E - S
};

/// What a joint of the kind `Slot` does in one state. Motions are those of the DH frame relative to the
/// inboard frame, in the axes of the DH frame, which is the axis frame of such a joint.
template <class T>
struct Slot
{
   Mat3<T> R; ///< the DH frame in the axis frame of the parent
   Vec3<T> p;
   Quat<T> RAsQuat;
   Vec6<T> s;    ///< the motion of a unit velocity
   Vec6<T> v;    ///< the velocity that the joint adds
   Vec6<T> bias; ///< the acceleration that it adds at a joint acceleration of zero
   Vec6<T> a;    ///< the acceleration that it adds
};

/// A model, or its first links where a state has fewer joints. Owns nothing.
struct Tree
{
   int count; ///< of links below the base
   int slots; ///< joints of the kind `Slot`
   bool anyPrismatic;
   const Joint* joints;
   const Body* bodies; ///< that of the base first: link i has number i + 1
};

inline namespace ZQ_MOTION_TARGET
{
/// One past the last link of a subtree, of those that the tree has.
ZQ_MOTION_INLINE int endOf(const Tree& tree, int i)
{
   const int end = tree.joints[i].end;
   return end < tree.count ? end : tree.count;
}
} // namespace ZQ_MOTION_TARGET

/// A frame: its axes as a quaternion, and its origin (m).
template <class T>
struct Frame
{
   Vec3<T> p;
   Quat<T> q;
};

/// The axis frame of a link in that of its parent, in one state.
template <class T>
struct Turn
{
   T c, s;    ///< cosine and sine of the angle of a revolute joint; 1 and 0 for any other
   Vec3<T> p; ///< its origin
   Mat3<T> R; ///< its axes; only where the joint is no twist
};

/// What moves the base in one state, in its own axes.
template <class T>
struct BaseMotion
{
   Frame<T> frame;   ///< in the system
   Vec3<T> v, omega; ///< velocity of the origin, angular velocity
   Vec3<T> a, alpha; ///< acceleration of the origin, with gravity as an upward part; angular
};

/// The motion of a link: of the origin of its axis frame, in its axes.
template <class T>
struct LinkMotion
{
   Vec3<T> omega, alpha; ///< angular velocity and acceleration
   Vec3<T> a;            ///< acceleration of the origin, as of a point
   Mat3<T> A;            ///< [alpha]x + [omega]x [omega]x: the acceleration per length of a point
};

/// A force and its moment about the origin of the link's axis frame, in its axes.
template <class T>
struct LinkForce
{
   Vec3<T> f, n;
};

/// A body of variable numbers: see `Body`.
template <class T>
struct Composite
{
   T m;
   Vec3<T> h;
   Sym3<T> S;
};

/// An articulated body (Featherstone 2008, ch. 7): its inertia [M, H^T; H, I] from accelerations, linear first, to
/// forces, linear first, and what its joint makes of it.
template <class T>
struct Articulated
{
   Sym3<T> M;        ///< from linear accelerations to forces
   Mat3<T> H;        ///< from linear accelerations to moments
   Sym3<T> I;        ///< from angular accelerations to moments
   Vec6<T> gain;     ///< U / d: the inertia times the joint's unit motion, over d
   T inversePivot;   ///< 1 / d, where d is the inertia at the joint; zero where that is zero
   T u;              ///< the joint's acceleration at an inboard frame at rest
   Vec3<T> a, alpha; ///< the acceleration that torques add
};

/// A link in the base.
template <class T>
struct Place
{
   Mat3<T> R;
   Vec3<T> p;
};

/// Bounds of a subtree, whatever the positions of its revolute joints: mass, and integrals of |r| dm and r^2 dm.
struct InertiaBound
{
   ZqReal m, h, S;
};
} // namespace zqMotion
