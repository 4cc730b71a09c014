// Feeds documents to the reader. The first byte chooses the class of the root, the second the number
// of bytes that the parser is given at a time. What is accepted must read back as it is written.

#include "fuzzBytes.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlMapType.h"
#include "zqManipulator/foundation/xml/ZqXmlPairType.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlSetType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"
#include "zqManipulator/tools/labels/ZqManufacturerData.h"

#include <cstdint>
#include <iterator>
#include <memory>
#include <sstream>

using zqFuzz::require;

namespace
{
template <class T>
std::unique_ptr<ZqXmlObject> make()
{
   return std::make_unique<T>();
}

constexpr std::unique_ptr<ZqXmlObject> (*kinds[])() = {
   make<ZqLinkKinematicsContainer>,
   make<ZqDenavitHartenberg>,
   make<ZqCoordinateSystemTransformation>,
   make<ZqXmlVectorType<ZqDenavitHartenberg>>,
   make<ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, bool>>>,
   make<ZqXmlMapType<ZqU32, ZqXmlSetType<ZqU32>>>,
   make<ZqXmlSetType<ZqU32>>,
   make<ZqXmlPairType<ZqString, ZqCoordinateSystemTransformation>>,
   make<ZqXmlVectorType<ZqString>>,
   make<ZqXmlVectorType<ZqXmlVectorType<ZqReal>>>,
   make<ZqXmlVectorBasicType<ZqReal>>,
   make<ZqXmlVectorVector>,
   make<ZqManufacturerData>,
   make<ZqXmlBasicType<ZqAngle>>,
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
   if (size < 2)
      return 0;
   const std::unique_ptr<ZqXmlObject> object = kinds[data[0] % std::size(kinds)]();
   std::istringstream stream(std::string(reinterpret_cast<const char*>(data) + 2, size - 2));
   ZqXmlReader reader(stream, "input");
   ZqXmlReader::Limits limits;
   limits.blockBytes = data[1] == 0 ? limits.blockBytes : data[1];
   reader.setLimits(limits);
   if (!Zq::read(*object, reader))
      return 0;
   require(!reader.failed());

   for (const bool writeDefaults : {true, false})
   {
      ZqString document;
      ZqString again;
      require(Zq::toXml(*object, document, writeDefaults));
      const std::unique_ptr<ZqXmlObject> back(object->newObject());
      require(Zq::fromXml(*back, document));
      require(back->equality(object.get()));
      require(Zq::toXml(*back, again, writeDefaults));
      require(again == document);
   }
   return 0;
}
