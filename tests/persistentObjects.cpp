#include "support/logCapture.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/spatial/ZqSecondMoment.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/ZqLinkKinematicsContainer.h"
#include "zqManipulator/tools/ZqManufacturerData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

// What holds for every persistent class. A new class is a line in the list and a sample.

namespace
{
/// An object without a zero, a one or a repeated number, and with no component of its default value.
template <class T>
T sample() = delete;

template <>
ZqCoordinateSystemTransformation sample()
{
   return {{1.25, -2.5, 3.75}, {1.0 / 11.0, 2.0 / 11.0, 4.0 / 11.0, -10.0 / 11.0}};
}
template <>
ZqGeneralMotion sample()
{
   return {{1e-300, -2.5, 1.0 / 3.0}, {4.5, -5.5, 6.02214076e23}};
}
template <>
ZqGeneralForce sample()
{
   return {{0.1, -2.5, 1.7976931348623157e308}, {4.5, -5e-324, 6.5}};
}
template <>
ZqSecondMoment sample()
{
   return {2.0, 3.0, 4.0, -0.1, 0.2, -0.3};
}
template <>
ZqDenavitHartenberg sample()
{
   ZqDenavitHartenberg joint;
   joint.setPrimaryFrame(sample<ZqCoordinateSystemTransformation>());
   joint.setJointType(ZqDenavitHartenberg::Prismatic);
   joint.setDhType(ZqDenavitHartenberg::GeneralCraig);
   joint.setPrecursor({{-4.25, 5.5, 6.75}, {2.0 / 9.0, 4.0 / 9.0, -5.0 / 9.0, 6.0 / 9.0}});
   joint.setDhA(0.7);
   joint.setDhD(-0.8);
   joint.setDhAlpha(0.9);
   joint.setDhTheta(-1.1);
   return joint;
}
template <>
ZqLinkKinematicsContainer sample()
{
   ZqLinkKinematicsContainer container;
   container.setTopElement(sample<ZqDenavitHartenberg>());
   return container;
}
template <>
ZqManufacturerData sample()
{
   ZqManufacturerData data;
   data.setManufacturer(" <Schmidt & \"S\u00f6hne\">");
   data.setPartNumber("47-11'\t\n");
   return data;
}

template <class T>
class PersistentObject : public testing::Test
{
protected:
   using Object = T;
   static std::string document(const ZqXmlObject& object, bool writeDefaults = true)
   {
      ZqString text;
      EXPECT_TRUE(Zq::toXml(object, text, writeDefaults));
      return text;
   }
};
using PersistentClasses =
   testing::Types<ZqCoordinateSystemTransformation, ZqGeneralMotion, ZqGeneralForce, ZqSecondMoment,
                  ZqDenavitHartenberg, ZqLinkKinematicsContainer, ZqManufacturerData>;
TYPED_TEST_SUITE(PersistentObject, PersistentClasses);

std::vector<ZqXmlObject*> componentsOf(const ZqXmlObject& object)
{
   std::vector<ZqXmlObject*> components;
   if (const auto* compound = dynamic_cast<const ZqXmlCompoundType*>(&object))
      for (const auto* map : {&compound->componentMap(), &compound->attributeComponentMap()})
         for (const auto& component : *map)
            components.push_back(component.second);
   return components;
}

template <class T>
std::unique_ptr<T> owned(ZqXmlObject* object)
{
   std::unique_ptr<ZqXmlObject> holder(object);
   T* const result = dynamic_cast<T*>(object);
   EXPECT_NE(result, nullptr);
   if (result == nullptr || typeid(*result) != typeid(T))
      throw std::logic_error("made an object of another class");
   holder.release();
   return std::unique_ptr<T>(result);
}

TYPED_TEST(PersistentObject, SampleHasNoNumberTwice)
{
   // What is left without names, declarations and schema locations.
   const std::string numbers =
      std::regex_replace(this->document(sample<TypeParam>()),
                         std::regex("xmlns[^=]*=\"[^\"]*\"|[\\w:]+=|</?[\\w:]+|<\\?[^>]*>"), " ");
   std::set<double> seen = {0.0, 1.0};
   const std::regex number("[-+]?[0-9][-+.e0-9]*");
   for (std::sregex_iterator i(numbers.begin(), numbers.end(), number); i != std::sregex_iterator();
        ++i)
      EXPECT_TRUE(seen.insert(std::strtod(i->str().c_str(), nullptr)).second) << i->str();
   EXPECT_FALSE(sample<TypeParam>().equalsDefault());
}

TYPED_TEST(PersistentObject, IsMadeAndCopiedAsItself)
{
   const TypeParam object = sample<TypeParam>();
   const TypeParam defaultObject;
   const auto made = owned<TypeParam>(object.newObject());
   EXPECT_TRUE(*made == defaultObject);
   EXPECT_TRUE(made->equalsDefault());
   EXPECT_TRUE(*owned<TypeParam>(TypeParam::creator()) == defaultObject);
   EXPECT_TRUE(TypeParam::nullObject() == defaultObject);
   const auto cloned = owned<TypeParam>(object.clone());
   EXPECT_TRUE(*cloned == object);
   EXPECT_EQ(&object.token(), &TypeParam::classToken());

   // Equality through the base asks for the class, and then for the value.
   EXPECT_TRUE(object.equality(cloned.get()));
   EXPECT_FALSE(object.equality(&defaultObject));
   EXPECT_FALSE(object.equality(nullptr));
   const ZqGeneralMotion motion;
   const ZqGeneralForce force;
   const ZqXmlEnumType<ZqU32> enumeration;
   for (const ZqXmlObject* other :
        std::initializer_list<const ZqXmlObject*>{&motion, &force, &enumeration})
      if (typeid(*other) != typeid(TypeParam))
      {
         EXPECT_FALSE(defaultObject.equality(other));
         EXPECT_FALSE(other->equality(&defaultObject));
      }
}

TYPED_TEST(PersistentObject, EveryComponentCounts)
{
   const TypeParam object = sample<TypeParam>();
   const TypeParam defaultObject;
   // Maps of equal classes have equal keys, in the same order.
   const auto defaults = componentsOf(defaultObject);
   EXPECT_EQ(defaults.empty(), !(std::derived_from<TypeParam, ZqXmlCompoundType>));
   for (std::size_t i = 0; i < defaults.size(); ++i)
   {
      SCOPED_TRACE(i);
      TypeParam changed = object;
      ASSERT_TRUE(changed.xmlInit());
      const auto components = componentsOf(changed);
      ASSERT_EQ(components.size(), defaults.size());
      EXPECT_FALSE(components[i]->equality(defaults[i])); // or the sample would show nothing
      ASSERT_TRUE(Zq::fromXml(*components[i], this->document(*defaults[i])));
      EXPECT_TRUE(components[i]->equality(defaults[i]));
      EXPECT_FALSE(changed == object);
      EXPECT_FALSE(object == changed);
      EXPECT_FALSE(changed.equality(&object));
   }
}

TYPED_TEST(PersistentObject, WriteAndReadIsExact)
{
   zqTest::LogCapture log;
   const TypeParam objects[] = {sample<TypeParam>(), TypeParam()};
   for (const TypeParam& object : objects)
      for (const bool writeDefaults : {true, false})
      {
         const std::string written = this->document(object, writeDefaults);
         TypeParam read;
         ASSERT_TRUE(Zq::fromXml(read, written)) << log.text();
         EXPECT_TRUE(read == object) << written;
         EXPECT_EQ(this->document(read, writeDefaults), written);
         // Into an object of other contents: what is written takes their place.
         TypeParam over = sample<TypeParam>();
         ASSERT_TRUE(Zq::fromXml(over, written));
         EXPECT_TRUE(over == object || !writeDefaults);
      }
   EXPECT_LT(this->document(TypeParam(), false).size(),
             this->document(sample<TypeParam>(), false).size());
   EXPECT_TRUE(log.empty()) << log.text();
}

TYPED_TEST(PersistentObject, CopiesAreIndependent)
{
   const TypeParam object = sample<TypeParam>();
   const std::string written = this->document(object);
   const std::string defaults = this->document(TypeParam());
   const auto before = componentsOf(object); // the maps exist before the copies are made
   TypeParam copied(object);
   TypeParam assigned;
   const auto beforeAssignment = componentsOf(assigned);
   assigned = object;
   const auto cloned = owned<TypeParam>(object.clone());
   for (TypeParam* copy : {&copied, &assigned, cloned.get()})
   {
      EXPECT_EQ(this->document(*copy), written);
      const auto components = componentsOf(*copy);
      for (std::size_t i = 0; i < components.size(); ++i)
      {
         EXPECT_NE(components[i], before[i]);
         EXPECT_TRUE(components[i]->equality(before[i]));
      }
      // Through the components of the copy, into the copy alone.
      ASSERT_TRUE(Zq::fromXml(*copy, defaults));
      EXPECT_TRUE(*copy == TypeParam());
      EXPECT_TRUE(object == sample<TypeParam>());
      EXPECT_EQ(this->document(object), written);
      *copy = object;
      EXPECT_TRUE(*copy == object);
      for (std::size_t i = 0; i < components.size(); ++i)
         EXPECT_TRUE(componentsOf(*copy)[i]->equality(before[i])); // a map looks at its own object
   }
   EXPECT_EQ(componentsOf(assigned), beforeAssignment);
   TypeParam& self = copied;
   copied = self;
   EXPECT_TRUE(copied == object);
}

TYPED_TEST(PersistentObject, DocumentFollowsTheSchema)
{
   if (std::system("xmllint --version >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "xmllint is not installed";
   std::string name = testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
   std::replace(name.begin(), name.end(), '/', '-'); // a folder for each class
   const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / name;
   std::filesystem::create_directories(folder);
   const std::string schema = (folder / "schema.xsd").string();
   const std::string file = (folder / "document.xml").string();
   const auto follows = [&](const std::string& text)
   {
      std::ofstream(file) << text;
      const std::string command = "xmllint --noout --schema '" + schema + "' '" + file + "'";
      return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
   };
   const TypeParam object = sample<TypeParam>();
   ASSERT_TRUE(object.createSchema(schema, object.token()));
   for (const bool writeDefaults : {true, false})
   {
      EXPECT_TRUE(follows(this->document(object, writeDefaults)));
      EXPECT_TRUE(follows(this->document(TypeParam(), writeDefaults)));
   }
   // It tells documents apart.
   const std::regex root("\\b" + std::string(object.token().localName()) + "\\b");
   EXPECT_FALSE(follows(std::regex_replace(this->document(object), root, "stranger")));
   std::filesystem::remove_all(folder);
}

TEST(PersistentObjects, JointIsWrittenInTheOrderOfTheFormat)
{
   ZqString joint;
   ASSERT_TRUE(Zq::toXml(sample<ZqDenavitHartenberg>(), joint));
   std::ptrdiff_t last = 0;
   for (const std::string name :
        {"primaryFrame", "jointType", "dhType", "precursor", "a", "d", "alpha", "theta"})
   {
      std::smatch match;
      ASSERT_TRUE(std::regex_search(joint, match, std::regex("<(\\w+:)?" + name + "[ >]"))) << name;
      EXPECT_GT(match.position(), last) << name;
      last = match.position();
   }
   EXPECT_NE(joint.find(">prismatic<"), std::string::npos) << joint;
   EXPECT_NE(joint.find(">generalCraig<"), std::string::npos) << joint;
}

TEST(ManufacturerData, EitherTextMakesItValid)
{
   ZqManufacturerData data;
   EXPECT_FALSE(data.isValid());
   data.setPartNumber("7");
   EXPECT_TRUE(data.isValid());
   data.setPartNumber("");
   data.setManufacturer("m");
   EXPECT_TRUE(data.isValid());
}
} // namespace
