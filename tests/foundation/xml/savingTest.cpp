#include "support/logCapture.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"
#include "zqManipulator/kinematics/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/ZqLinkKinematicsContainer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <thread>

using namespace zqTest;
namespace fs = std::filesystem;

namespace
{
std::string bytesOf(const fs::path& path)
{
   std::ifstream stream(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(stream), {}};
}

/// A folder of its own for each test.
class Saving : public testing::Test
{
protected:
   Saving() : folder(fs::temp_directory_path() / ("zqSaving." + std::to_string(getpid())))
   {
      fs::create_directories(folder);
   }
   ~Saving() override
   {
      fs::permissions(folder, fs::perms::owner_all);
      fs::remove_all(folder);
   }
   std::size_t filesInFolder() const
   {
      return static_cast<std::size_t>(
         std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
   }
   /// Runs the work in a child process; 0 when it answered true.
   template <class Work>
   static pid_t start(Work work)
   {
      const pid_t child = fork();
      if (child == 0)
      {
         Zq::Print::instance().setThreshold(0);
         _exit(work() ? 0 : 1);
      }
      return child;
   }

   const fs::path folder;
   const fs::path file = folder / "saved.xml";
};

Sample withReal(ZqReal real)
{
   Sample sample;
   sample.real = real;
   return sample;
}

Sample withText(const ZqString& text)
{
   Sample sample;
   sample.text = text;
   return sample;
}

Sample withLabel(const ZqString& label)
{
   Sample sample;
   sample.label = label;
   return sample;
}

ZqXmlVectorBasicType<ZqReal> manyNumbers(ZqReal first)
{
   ZqXmlVectorBasicType<ZqReal> numbers(400'000, 0.123456789);
   numbers[0] = first;
   return numbers;
}
} // namespace

TEST_F(Saving, WhatADocumentCannotHoldIsRefusedAndTheOldFileStays)
{
   ASSERT_TRUE(Zq::save(Sample::odd(), file.string()));
   const std::string old = bytesOf(file);
   const ZqReal nan = std::numeric_limits<ZqReal>::quiet_NaN();
   const ZqReal infinity = std::numeric_limits<ZqReal>::infinity();
   std::vector<Sample> bad{withReal(nan),
                           withReal(infinity),
                           withReal(-infinity),
                           withText("a\x01"),
                           withText(ZqString("\0", 1)),
                           withText("\x7F\xC3"),
                           withText("\xED\xA0\x80"),
                           withText("\xC0\x80"),
                           withText("\xF5\x80\x80\x80"),
                           withText("\xEF\xBF\xBF"),
                           withLabel("\x1F"),
                           withLabel("\xFF")};
   Sample sample;
   sample.mode = 2;
   bad.push_back(sample);
   sample = Sample();
   sample.reals = std::vector<ZqReal>{1, nan};
   bad.push_back(sample);
   sample = Sample();
   sample.place = {1, 2, infinity};
   bad.push_back(sample);
   sample = Sample();
   sample.map = {{"\x02", 1}};
   bad.push_back(sample);
   for (std::size_t i = 0; i < bad.size(); ++i)
      for (const bool writeDefaults : {true, false})
      {
         LogCapture log;
         EXPECT_FALSE(Zq::save(bad[i], file.string(), writeDefaults)) << i;
         EXPECT_TRUE(log.size() == 1 && log.messages()[0].type == 4 &&
                     log.contains("ZqXmlWriter Error: ") && log.contains(file.string()))
            << i << log.text();
         EXPECT_EQ(bytesOf(file), old);
         EXPECT_EQ(filesInFolder(), 1u);
         ZqString text = "before";
         EXPECT_FALSE(Zq::toXml(bad[i], text, writeDefaults));
      }
}

TEST_F(Saving, KeepsLinksAndPermissions)
{
   const fs::path target = folder / "target.xml";
   ASSERT_TRUE(Zq::save(Sample(), target.string()));
   fs::create_symlink("target.xml", file);
   fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
   const auto permissions = fs::status(target).permissions();
   ASSERT_TRUE(Zq::save(Sample::odd(), file.string()));
   EXPECT_TRUE(fs::is_symlink(file));
   EXPECT_EQ(bytesOf(target), written(Sample::odd()));
   EXPECT_EQ(fs::status(target).permissions(), permissions);
   EXPECT_EQ(filesInFolder(), 2u);

   // A link to a file that is not there yet.
   fs::remove(target);
   EXPECT_TRUE(Zq::save(Sample(), file.string()));
   EXPECT_TRUE(fs::is_symlink(file));
   EXPECT_EQ(bytesOf(file), written(Sample()));
}

TEST_F(Saving, AnUnusableTargetIsAFailureWithAMessage)
{
   std::vector<std::string> targets{folder.string(), (folder / "none" / "a.xml").string(), ""};
   if (fs::exists("/dev/full"))
      targets.emplace_back("/dev/full");
   for (const std::string& target : targets)
   {
      LogCapture log;
      EXPECT_FALSE(Zq::save(manyNumbers(1), target)) << target;
      EXPECT_TRUE(log.contains(target) && !log.empty()) << target;
   }
   EXPECT_EQ(filesInFolder(), 0u);
}

TEST_F(Saving, AFullDiskLeavesTheOldFile)
{
   ASSERT_TRUE(Zq::save(Sample::odd(), file.string()));
   const std::string old = bytesOf(file);
   for (const rlim_t limit : std::initializer_list<rlim_t>{0, 1, 1000, 100'000})
   {
      const pid_t child = start(
         [&]
         {
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit bytes{limit, limit};
            return setrlimit(RLIMIT_FSIZE, &bytes) != 0 || Zq::save(manyNumbers(1), file.string());
         });
      int status = 0;
      waitpid(child, &status, 0);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
      EXPECT_EQ(bytesOf(file), old);
      EXPECT_EQ(filesInFolder(), 1u);
   }
}

TEST_F(Saving, AProcessThatIsKilledLeavesTheOldOrTheNewFile)
{
   const std::string versions[] = {written(manyNumbers(1)), written(manyNumbers(2))};
   ASSERT_TRUE(Zq::save(manyNumbers(1), file.string()));
   std::mt19937 engine(11);
   for (int i = 0; i < 20; ++i)
   {
      const pid_t child = start(
         [&]
         {
            const auto one = manyNumbers(1);
            const auto two = manyNumbers(2);
            for (;;)
               if (!Zq::save(two, file.string()) || !Zq::save(one, file.string()))
                  return false;
         });
      std::this_thread::sleep_for(std::chrono::microseconds(5'000 + engine() % 60'000));
      kill(child, SIGKILL);
      int status = 0;
      waitpid(child, &status, 0);
      EXPECT_TRUE(WIFSIGNALED(status));
      const std::string bytes = bytesOf(file);
      EXPECT_TRUE(bytes == versions[0] || bytes == versions[1]) << bytes.size();
   }
}

TEST_F(Saving, WhatIsSavedLoadsEqual)
{
   ZqLinkKinematicsContainer joint;
   joint.setTopElement(ZqDenavitHartenberg::defaultObject());
   for (const bool writeDefaults : {true, false})
   {
      ASSERT_TRUE(Zq::save(joint, file.string(), writeDefaults));
      ZqLinkKinematicsContainer back;
      EXPECT_TRUE(Zq::load(back, file.string()));
      EXPECT_EQ(back, joint);
   }
   // A name with odd characters, relative to the current folder.
   const fs::path old = fs::current_path();
   fs::current_path(folder);
   EXPECT_TRUE(Zq::save(joint, "a b%s\xC3\xA9.xml"));
   ZqLinkKinematicsContainer back;
   EXPECT_TRUE(Zq::load(back, "a b%s\xC3\xA9.xml"));
   fs::current_path(old);
   EXPECT_EQ(back, joint);
}

TEST(Writer, AnObjectInAnyNamespaceReadsBackInAnyLayout)
{
   const auto document = [](int indent, unsigned columns, auto... tokens)
   {
      std::ostringstream out;
      ZqXmlWriter writer("out.xml", out);
      writer.setIndent(indent);
      writer.setNumOfContentColumns(columns);
      (writer.writeStartTag(ZqToken(tokens)), ...);
      writer.setAttributeName(ZqToken("urn:other#key"));
      writer.attributeValue("<\"&'>\n");
      writer.setAttributeName(ZqToken("plain"));
      writer.attributeValue("v");
      writer.writeStartTagUsingParentNamespace(ZqToken("urn:ignored#child"));
      writer.content("text");
      writer.writeEndTag();
      for (std::size_t i = 0; i < sizeof...(tokens); ++i)
         writer.writeEndTag();
      EXPECT_TRUE(writer.flush() && writer.good());
      return out.str();
   };
   for (const int indent : {-1, 0, 3})
   {
      const std::string text =
         document(indent, 0, ZQ_TEST_NS "root", "plain", "urn:one#a", "urn:two#b", "plain2");
      SCOPED_TRACE(text);
      EXPECT_EQ(indent < 0, std::count(text.begin(), text.end(), '\n') <= 2);
      std::istringstream in(text);
      ZqXmlReader reader(in, "out.xml");
      LogCapture log;
      for (const char* name : {ZQ_TEST_NS "root", "plain", "urn:one#a", "urn:two#b", "plain2"})
      {
         EXPECT_EQ(reader.nextNode(), unsigned{ZqXmlReader::StartTag});
         EXPECT_EQ(reader.tagName(), name);
      }
      ASSERT_EQ(reader.attributeCount(), 2u);
      EXPECT_EQ(reader.attributeName(), "urn:other#key");
      EXPECT_EQ(reader.attributeValue(), "<\"&'>\n");
      reader.setAttributeCursor(1);
      EXPECT_EQ(reader.attributeName(), "plain");
      reader.nextNode();
      EXPECT_EQ(reader.tagName(), "child");
      std::string_view content;
      EXPECT_TRUE(reader.readText(content));
      EXPECT_EQ(content, "text");
      while (reader.nextNode() != ZqXmlReader::EndOfInput)
         EXPECT_EQ(reader.nodeKind(), unsigned{ZqXmlReader::EndTag});
      EXPECT_TRUE(log.empty() && !reader.failed()) << log.text();
   }
}

TEST(Writer, LayoutMakesNoDifferenceToWhatIsRead)
{
   const Sample odd = Sample::odd();
   for (const int indent : {-1, 0, 1, 8})
      for (const unsigned columns : {0u, 1u, 2u, 100u})
      {
         std::ostringstream out;
         ZqXmlWriter writer("out.xml", out);
         writer.setIndent(indent);
         writer.setNumOfContentColumns(columns);
         writer.setSchemaLocation(ZQ_TEST_NS " sample.xsd");
         EXPECT_TRUE(Zq::write(odd, writer));
         writer.flush();
         Sample back;
         LogCapture log;
         EXPECT_TRUE(Zq::fromXml(back, out.str())) << out.str() << log.text();
         EXPECT_EQ(back, odd) << out.str();
         EXPECT_TRUE(log.empty()) << log.text();
      }
}

TEST(Writer, WhatStandsBeforeTheRootCannotEndEarly)
{
   for (const auto& [header, sheet] : std::map<ZqString, ZqString>{
           {"made -- by <a> test--", "a&b.xsl"}, {"", "a\"b.xsl"}, {"-->", "a?>b.xsl"}})
   {
      std::ostringstream out;
      ZqXmlWriter writer("out.xml", out);
      writer.setHeader(header);
      writer.setStyleSheet(sheet);
      EXPECT_TRUE(Zq::write(Sample::odd(), writer) && writer.flush());
      Sample back;
      LogCapture log;
      EXPECT_TRUE(Zq::fromXml(back, out.str())) << out.str().substr(0, 200) << log.text();
      EXPECT_EQ(out.str().find("a\"b"), std::string::npos) << out.str().substr(0, 200);
   }
}

TEST(Writer, AStreamThatRefusesIsReportedOnce)
{
   class Refusing : public std::streambuf
   {
   };
   Refusing buffer;
   for (const bool throws : {false, true})
   {
      std::ostream out(&buffer);
      if (throws)
         out.exceptions(std::ios::badbit | std::ios::failbit);
      LogCapture log;
      {
         ZqXmlWriter writer("out.xml", out);
         EXPECT_NO_THROW(EXPECT_FALSE(Zq::write(manyNumbers(1), writer) && writer.flush()));
         EXPECT_FALSE(writer.good());
      }
      EXPECT_EQ(log.size(), 1u) << log.text();
      EXPECT_TRUE(log.contains("ZqXmlWriter Error: ") && log.contains("out.xml"));
   }
}

// The documents of a class are valid by the schema that it writes, whether defaults are left out.
TEST(Schema, DocumentsAreValid)
{
   if (std::system("xmllint --version >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "xmllint is not installed";
   const fs::path folder = fs::temp_directory_path() / ("zqSchema." + std::to_string(getpid()));
   fs::create_directories(folder);
   ZqXmlVectorType<ZqDenavitHartenberg> joints{ZqDenavitHartenberg(),
                                               ZqDenavitHartenberg::defaultObject()};
   ZqLinkKinematicsContainer container;
   container.setTopElement(ZqDenavitHartenberg::defaultObject());
   const Sample odd = Sample::odd();
   const Sample plain;
   Node node;
   node.children.pushBack(Leaf(5));
   node.children.pushBack(Node(node));
   ZqXmlMapType<ZqString, ZqXmlMapType<ZqU32, bool>> map{{"a b", {{5, true}}}, {"", {}}};
   ZqXmlSetType<ZqU32> set{5, 6};
   ZqXmlPairType<ZqU32, ZqString> pair(5, "x", placeToken, turnToken);
   ZqXmlVectorType<ZqXmlVectorType<ZqString>> texts{{"a", "b c"}, {}};
   for (const ZqXmlObject* object : std::initializer_list<const ZqXmlObject*>{
           &joints, &container, &odd, &plain, &node, &map, &set, &pair, &texts})
      for (const bool writeDefaults : {true, false})
      {
         const std::string schema = (folder / "s.xsd").string();
         const std::string file = (folder / "d.xml").string();
         ASSERT_TRUE(object->createSchema(schema, object->token()));
         ASSERT_TRUE(Zq::save(*object, file, writeDefaults));
         EXPECT_EQ(std::system(("xmllint --nonet --noout --schema '" + schema + "' '" + file +
                                "' 2>'" + folder.string() + "/log'")
                                  .c_str()),
                   0)
            << bytesOf(folder / "log") << bytesOf(file) << bytesOf(schema);
      }
   EXPECT_FALSE(plain.createSchema((folder / "none" / "s.xsd").string(), sampleToken));
   fs::remove_all(folder);
}
