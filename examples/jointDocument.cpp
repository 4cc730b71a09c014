// Writes the joints of a six-joint arm to a document, reads them back and compares.

#include "zqManipulator/zqManipulator.h"

#include <array>
#include <iostream>
#include <numbers>

namespace
{
/// The PUMA 560 in Paul's convention, in metres and radians; the lengths are those of Corke and
/// Armstrong-Helouvry, "A search for consensus among model parameters reported for the PUMA 560
/// robot" (1994).
ZqXmlVectorType<ZqDenavitHartenberg> armJoints()
{
   constexpr ZqReal right = std::numbers::pi / 2.0;
   struct Row
   {
      ZqReal a;
      ZqReal d;
      ZqReal alpha;
   };
   constexpr std::array<Row, 6> rows{{{0.0, 0.0, right},
                                      {0.4318, 0.0, 0.0},
                                      {0.0203, 0.15005, -right},
                                      {0.0, 0.4318, right},
                                      {0.0, 0.0, -right},
                                      {0.0, 0.0, 0.0}}};

   ZqXmlVectorType<ZqDenavitHartenberg> joints;
   for (const Row& row : rows)
   {
      ZqDenavitHartenberg joint;
      joint.setDhA(row.a);
      joint.setDhD(row.d);
      joint.setDhAlpha(row.alpha);
      joints.pushBack(joint);
   }
   return joints;
}

void print(const char* title, const ZqXmlVectorType<ZqDenavitHartenberg>& joints)
{
   std::cout << title << "\n  joint         a         d     alpha\n";
   for (unsigned i = 0; i < joints.size(); ++i)
   {
      const ZqDenavitHartenberg& joint = joints[i];
      std::cout.width(7);
      std::cout << i + 1;
      for (const ZqReal value : {joint.dhA(), joint.dhD(), ZqReal(joint.dhAlpha())})
      {
         std::cout.width(10);
         std::cout << value;
      }
      std::cout << '\n';
   }
}

/// Where the hand stands in the base for given joint positions.
ZqCoordinateSystemTransformation handFrame(const ZqXmlVectorType<ZqDenavitHartenberg>& joints,
                                           const ZqRealVector& q)
{
   ZqCoordinateSystemTransformation X_BH;
   for (unsigned i = 0; i < joints.size(); ++i)
      X_BH *= joints[i].calculateTransform(q[i]);
   return X_BH;
}
} // namespace

int main()
{
   const char* fileName = "joints.xml";
   const ZqXmlVectorType<ZqDenavitHartenberg> written = armJoints();
   if (!Zq::save(written, fileName))
      return 1;
   ZqXmlVectorType<ZqDenavitHartenberg> read;
   if (!Zq::load(read, fileName))
      return 1;

   print("written:", written);
   print("read:", read);
   const ZqVector hand = handFrame(read, {0.0, 0.7, -0.6, 0.0, 0.9, 0.0}).translation();
   std::cout << "hand at q = (0, 0.7, -0.6, 0, 0.9, 0): (" << hand.x() << ", " << hand.y() << ", "
             << hand.z() << ") m\n";
   std::cout << (written == read ? "equal: what was read is what was written\n" : "not equal\n");
   return written == read ? 0 : 1;
}
