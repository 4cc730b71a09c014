#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"

#include <memory>

/// A shape made of shapes, its members, which it owns and which may be unions in turn. They may overlap.
class ZqShapeUnion final : public ZqXmlClass<ZqShapeUnion, ZqBasePhysicalExtent>
{
public:
   ZqShapeUnion() = default;

   static const ZqToken& classToken() { return ZqGeom::ZqShapeUnionToken; }
   static constexpr const char* documentation = "a shape made of shapes";
   template <class This = ZqShapeUnion>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_members, &ZqGeom::ZqMembersToken, "the shapes"},
                        ZqOptionalComponent(&This::m_isOneInContact, &ZqGeom::ZqIsOneInContactToken,
                                            "whether contacts are those of the union as one "
                                            "shape, and not of each member")};
   }
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqShapeUnion& other) const
   {
      return ZqBasePhysicalExtent::operator==(other) && m_members == other.m_members &&
             m_isOneInContact == other.m_isOneInContact;
   }

   /// Appends a copy. Volumes around the shape stay with the copy. False, with a message, when shapes would
   /// stand within others deeper than `ZqShapeVector::deepest`.
   bool addShapeToUnion(const ZqShape& shape);
   /// The members that this union has itself.
   ZqU32 ownMemberCount() const noexcept { return m_members.size(); }
   const ZqShape& ownMember(ZqU32 index) const { return *m_members.vectorContainer()[index]; }
   /// Whoever changes where a member is, or its size, calls `membersChanged` afterwards, of this union and of
   /// those that it is in.
   ZqShape& ownMember(ZqU32 index)
   {
      membersChanged(); // copies are not to see what becomes of it
      return *m_members.vectorContainer()[index];
   }
   void membersChanged();
   /// The shape at an index of those that are not unions, through nested ones; null when there are fewer.
   const ZqShape* member(ZqU32 index) const
   {
      ZqU32 counter = 0;
      return memberByIndex(index, counter);
   }

   /// Appends the shapes that are no compounds: the shape itself, or its members through nested ones.
   static void collectMembers(const ZqShape& shape, std::vector<const ZqShape*>& members);

   bool isCompoundShape() const override { return true; }
   ZqU32 memberCount() const override;
   const ZqShape* memberByIndex(ZqU32 index, ZqU32& counter) const override;
   bool compoundTestFlag() const override { return !m_isOneInContact; }
   void setCompoundTestFlag(bool flag) { m_isOneInContact = !flag; }

   ZqU32 shapeType() const override { return UnionShape; }
   ZqReal volume() const override;
   const ZqConvexParts* parts() const override;
   void capsuleApproximation(std::vector<ZqCapsule>& capsules,
                             std::vector<ZqU32>& indices) const override;
   ZqVector supportPoint(const ZqVector& direction) const override;
   /// Of all members.
   void removeRedundancy(ZqReal tolerance) override;

protected:
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   struct Parts;

   ZqShapeVector m_members;
   bool m_isOneInContact = false;
   /// Follow from the members, and are made by the first who asks; copies share them, made or not.
   std::shared_ptr<Parts> m_parts;
};

extern template class ZqXmlClass<ZqShapeUnion, ZqBasePhysicalExtent>;
