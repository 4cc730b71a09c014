#pragma once

#include "zqManipulator/foundation/proximity/ZqCorePair.h"
#include "zqManipulator/foundation/proximity/ZqSupportingFace.h"

#include <optional>
#include <utility>

namespace zqConvex
{
/// Of a place that is neither vertex nor edge.
constexpr std::uint32_t unknownName = 0xffffffff;

/// The name of a point from those of the features of both shapes.
constexpr std::uint64_t contactName(std::uint32_t first, std::uint32_t second) noexcept
{
   return std::uint64_t(first) << 32 | second;
}

/// Adds a point between two places on the cores.
void putContact(const CorePair& pair, const Vec3& n, const Vec3& a, const Vec3& b, ZqReal gap,
                std::uint64_t name, ZqContactManifold& out) noexcept;

/// What a corner of the patch is: in the order in which one stands for others at the same place.
enum class Meeting : std::uint8_t
{
   OtherCorner,     ///< a corner of the other face, within the reference
   ReferenceCorner, ///< a corner of the reference, within the other
   Crossing,        ///< of an edge of each
   Deepest          ///< the deepest place, where it is none of these
};

/// A corner of the patch, in the plane of the reference face.
struct ContactCorner
{
   ZqReal x, y;
   std::int16_t other, reference; ///< which corners or edges meet
   /// What borders the patch from here on: an edge of the other, or ~ one of the reference.
   std::int16_t side;
   Meeting meeting;
   std::int8_t rim; ///< of the crossing of a rim: twice its number, and 1 where it leaves
};

/// Where a patch is deepest, in the frame of A.
struct PatchFoot
{
   Vec3 a, b;        ///< on either core
   ZqReal gap;       ///< between them
   Vec3 n;           ///< unit, to B: the normal of the features that meet there
   Vec3 middle;      ///< of the patch
   ZqReal middleGap; ///< there
   ZqReal slope;     ///< of the gap over the patch
};

/// Whether A's face is the one to measure from: a rim cuts best, else the face that has fewer sides.
inline bool isBetterReference(const SupportingFace& fa, const SupportingFace& fb) noexcept
{
   return fb.count == 2 || (fa.count > 2 && (fa.isDisc || (!fb.isDisc && fa.count <= fb.count)));
}

/// The patch that two faces cover together, or a face and an edge, or a plane without border and any.
///
/// One of the faces is the reference, in whose plane all is computed; the other one is projected onto it along
/// the normal. Which of them it is changes no more than the rounding.
class ContactPatch
{
public:
   /// More than any two faces give: corners of both, or twice the sides of one and the points of a rim.
   static constexpr int capacity = 2 * SupportingFace::capacity + SupportingFace::rimPoints + 1;

   /// Within which depths (m) are one.
   static ZqReal toleranceOf(const CorePair& pair) noexcept
   {
      const ZqReal large = std::max(pair.A.size, pair.B.size);
      return 1e-6 * (pair.A.isBounded() ? std::min(pair.A.size, pair.B.size) : large) +
             1e-12 * large;
   }
   /// Along a normal, of faces in the frame of A. Without a reference it is the plane of A.
   ContactPatch(const CorePair& pair, const Vec3& n, const SupportingFace* reference,
                const SupportingFace& other, bool isReferenceA) noexcept;
   ContactPatch(const ContactPatch&) = delete;
   ContactPatch& operator=(const ContactPatch&) = delete;

   void cut() noexcept;
   /// False if the faces cover nothing together.
   bool foot(PatchFoot& out) const noexcept;
   /// Takes another normal. False if that is not so near that the patch stays.
   bool turnTo(const Vec3& n) noexcept;
   /// The points of the patch: gaps and names; leaves out what is further apart than `reach`. False if no corner is as deep as the
   /// shapes are.
   bool measure(ZqReal reach, ZqReal distance) noexcept;
   void addDeepest(const CoreAnswer& answer) noexcept;
   void thin(int most) noexcept;
   void write(ZqContactManifold& out) const noexcept;

private:
   using Corner = ContactCorner;
   struct Place
   {
      ZqReal x, y;
   };
   struct Point : Corner
   {
      ZqReal gap; ///< between the cores, along the normal
      std::uint64_t name;
   };

   /// The line of a side of the reference: what lies outside has a positive height times length, and `within`
   /// is the same of the rounding.
   struct Line
   {
      ZqReal x, y, ex, ey, within;

      ZqReal height(const Corner& c) const noexcept { return (c.x - x) * ey - (c.y - y) * ex; }
   };

   void project() noexcept;
   void load() noexcept;
   void cutFaceByFace() noexcept;
   Corner cutSide(const Corner& p, const Corner& q, const Line& cut, int edge,
                  int side) const noexcept;
   void cutEdgeByFace() noexcept;
   void cutFaceByRim() noexcept;
   void cutEdgeByRim() noexcept;
   void cutRimByRim() noexcept;
   void joinDoubles() noexcept;
   void takeTinyForPoint() noexcept;
   std::uint64_t nameOf(const Corner& c) const noexcept;

   Vec3 directionOfSide(const SupportingFace& face, int side, const Vec3& p) const noexcept;
   Vec3 normalAt(const Corner& c, const Vec3& p) const noexcept;

   ZqReal gapAt(ZqReal x, ZqReal y) const noexcept { return m_gap0 + m_gapX * x + m_gapY * y; }
   Vec3 placeAt(ZqReal x, ZqReal y) const noexcept { return m_origin + m_e1 * x + m_e2 * y; }
   Place project(const Vec3& p) const noexcept
   {
      return {dot(m_g1, p - m_origin), dot(m_g2, p - m_origin)};
   }
   /// Of a corner of the reference, which the projection leaves where it is.
   Place flat(int i) const noexcept
   {
      const Vec3 d = m_reference->corner[i] - m_origin;
      return {dot(m_e1, d), dot(m_e2, d)};
   }
   Line line(const Place& p, const Place& q) const noexcept
   {
      const ZqReal ex = q.x - p.x;
      const ZqReal ey = q.y - p.y;
      return {p.x, p.y, ex, ey, m_rounding * (std::abs(ex) + std::abs(ey))};
   }
   Line lineOfReference(int edge) const noexcept
   {
      return line(flat(edge), flat(edge + 1 == m_reference->count ? 0 : edge + 1));
   }
   void beginCut() noexcept
   {
      std::swap(m_corner, m_last);
      m_count = 0;
   }
   void add(const Corner& c) noexcept
   {
      if (m_count < capacity)
         m_corner[m_count++] = c;
   }
   static Corner corner(const Place& p, Meeting meeting, int other, int reference, int side,
                        int rim = 0) noexcept
   {
      Corner c;
      c.x = p.x;
      c.y = p.y;
      c.other = static_cast<std::int16_t>(other);
      c.reference = static_cast<std::int16_t>(reference);
      c.side = static_cast<std::int16_t>(side);
      c.meeting = meeting;
      c.rim = static_cast<std::int8_t>(rim);
      return c;
   }
   static Corner referenceCorner(const Place& p, int i, int side) noexcept
   {
      return corner(p, Meeting::ReferenceCorner, -1, i, side);
   }
   static Corner crossing(const Place& p, int other, int reference, int side, int rim = 0) noexcept
   {
      return corner(p, Meeting::Crossing, other, reference, side, rim);
   }
   static Place between(const Corner& p, const Corner& q, ZqReal t) noexcept
   {
      return {p.x + (q.x - p.x) * t, p.y + (q.y - p.y) * t};
   }

   const CorePair& m_pair;
   Vec3 m_n;
   const SupportingFace* m_reference; ///< null: a plane without border
   const SupportingFace& m_other;
   const bool m_isReferenceA;
   ZqReal
      m_rounding; ///< within which places are one: what the error of a normal on curved cores makes of them
   ZqReal m_tolerance;                  ///< of depths
   Vec3 m_normal, m_origin, m_e1, m_e2; ///< the plane of the reference
   Vec3 m_g1, m_g2; ///< coordinates in the plane of what is projected along the normal
   ZqReal m_gap0, m_gapX, m_gapY;
   int m_count = 0;
   Corner m_space[2][capacity];
   Corner* m_corner = m_space[0];
   Corner* m_last = m_space[1]; ///< what a cut begins with
   int m_pointCount = 0;
   Point m_point[capacity];
   Vec3 m_deepestA, m_deepestB;
};

/// What both cores turn towards each other, in the frame of A, and the patch that they cover if both are more than a
/// vertex and one is a face. Nothing of it is set up before it is needed.
struct FacingFeatures
{
   SupportingFace a, b;
   std::optional<ContactPatch> patch;

   FacingFeatures() noexcept { a.count = b.count = 0; }
   bool havePatch() const noexcept { return a.count > 1 && b.count > 1 && a.count + b.count > 4; }
   void cutPatch(const CorePair& pair, const Vec3& n) noexcept
   {
      const bool isPlane = !pair.A.isBounded();
      const bool isA = isPlane || isBetterReference(a, b);
      patch.emplace(pair, n, isPlane ? nullptr : isA ? &a : &b, isA ? b : a, isA);
      patch->cut();
   }
};
} // namespace zqConvex
