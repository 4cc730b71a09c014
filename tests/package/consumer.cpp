#include <zqManipulator/zqManipulator.h>

#include <iostream>

int main()
{
   // A joint that turns about z, with the next one 0.4 m along x (Paul's convention).
   ZqDenavitHartenberg shoulder;
   shoulder.setDhA(0.4);

   // The frame of the link in the frame of its parent, and its velocity at 2 rad/s.
   const ZqVector p = shoulder.calculateTransform(0.5).translation();
   const ZqVector v = shoulder.calculateVelocity(0.5, 2.0).linear();
   std::cout << "at (" << p.x() << ", " << p.y() << "), moving at " << v.y() << " m/s along y\n";

   // Written to a document and read back, exactly.
   ZqDenavitHartenberg copy;
   const bool good = Zq::save(shoulder, "shoulder.xml") && Zq::load(copy, "shoulder.xml");
   return good && copy == shoulder ? 0 : 1;
}
