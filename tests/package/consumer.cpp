#include <zqManipulator/zqManipulator.h>

#include <iostream>

int main()
{
   // Needs a header, a symbol of the library and the public language level.
   ZqLabelPool pool;
   pool.addUsingLabel("arm", 0);
   const ZqString label = pool.nextUnusedLabel("arm");
   std::cout << label << ' ' << ZqManip::ZqDhFrameToken.token() << '\n';

   return label == "arm-1" && ZqManip::ZqDhFrameToken.localName() == "dhFrame" ? 0 : 1;
}
