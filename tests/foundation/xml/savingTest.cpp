#include "support/allocationCount.h"
#include "support/randomValues.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>

using namespace zqTest;
namespace fs = std::filesystem;

namespace
{
std::string bytesOf(const fs::path& path)
{
   std::ifstream stream(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(stream), {}};
}

class Saving : public testing::Test
{
protected:
   std::size_t filesInFolder() const
   {
      return static_cast<std::size_t>(
         std::distance(fs::directory_iterator(folder.path), fs::directory_iterator()));
   }
   /// The status of a child process that runs the work; 0 when that answered true.
   template <class Work>
   static int statusOf(Work work)
   {
      const pid_t child = fork();
      if (child == 0)
      {
         Zq::Print::instance().setThreshold(0);
         _exit(work() ? 0 : 1);
      }
      int status = 0;
      waitpid(child, &status, 0);
      return status;
   }

   const TestFolder folder;
   const std::string file = folder / "a b%s\xC3\xA9.xml";
};

/// Does something while it is written.
struct Busy : Sample
{
   explicit Busy(std::function<void()> doIt) : work(std::move(doIt)) {}
   bool write(ZqXmlWriter& writer) const override
   {
      work();
      return Sample::write(writer);
   }
   std::function<void()> work;
};

/// A static object that writes and reads when the process ends, after all is gone that was made later.
struct LateWriter
{
   ~LateWriter()
   {
      if (!expected.empty())
         _exit(written(joint, false) == expected && readFrom(joint, expected) ? 0 : 1);
   }
   ZqLinkKinematicsContainer joint;
   std::string expected;
} lateWriter;

ZqXmlVectorBasicType<ZqReal> manyNumbers(ZqReal first)
{
   ZqXmlVectorBasicType<ZqReal> numbers(400'000, 0.123456789);
   numbers[0] = first;
   return numbers;
}
} // namespace

TEST_F(Saving, WhatADocumentCannotHoldIsRefusedAndTheOldFileStays)
{
   ASSERT_TRUE(Zq::save(Sample::odd(), file));
   const std::string old = bytesOf(file);
   std::vector<Sample> bad;
   const auto add = [&](auto member, auto value) { bad.emplace_back().*member = value; };
   for (const ZqReal value : {zqTest::nan, zqTest::infinity, -zqTest::infinity})
      add(&Sample::real, value);
   for (const char* text :
        {"a\x01", "\x7F\xC3", "\xED\xA0\x80", "\xC0\x80", "\xF5\x80\x80\x80", "\xEF\xBF\xBF"})
      add(&Sample::text, text);
   add(&Sample::text, ZqString("\0", 1));
   add(&Sample::label, "\x1F");
   add(&Sample::label, "\xFF");
   add(&Sample::mode, 2U);
   add(&Sample::reals, std::vector<ZqReal>{1, zqTest::nan});
   add(&Sample::place, ZqVector(1, 2, zqTest::infinity));
   add(&Sample::map, ZqXmlMapType<ZqString, ZqReal>{{"\x02", 1}});
   for (std::size_t i = 0; i < bad.size(); ++i)
      for (const bool writeDefaults : {true, false})
      {
         LogCapture log;
         EXPECT_FALSE(Zq::save(bad[i], file, writeDefaults)) << i;
         EXPECT_TRUE(log.size() == 1 && log.messages()[0].type == 4 &&
                     log.contains("ZqXmlWriter Error: ") && log.contains(file))
            << i << log.text();
         EXPECT_EQ(bytesOf(file), old);
         EXPECT_EQ(filesInFolder(), 1u);
         ZqString text;
         EXPECT_FALSE(Zq::toXml(bad[i], text, writeDefaults));
      }
}

TEST_F(Saving, KeepsLinksAndPermissions)
{
   const std::string target = folder / "target.xml";
   ASSERT_TRUE(Zq::save(Sample(), target));
   fs::create_symlink("target.xml", file);
   fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
   const auto permissions = fs::status(target).permissions();
   ASSERT_TRUE(Zq::save(Sample::odd(), file));
   EXPECT_TRUE(fs::is_symlink(file));
   EXPECT_EQ(bytesOf(target), written(Sample::odd()));
   EXPECT_EQ(fs::status(target).permissions(), permissions);
   EXPECT_EQ(filesInFolder(), 2u);
   // The same through a link to a file that is not there.
   fs::remove(target);
   ASSERT_TRUE(Zq::save(Sample(), file));
   EXPECT_TRUE(fs::is_symlink(file));
   EXPECT_EQ(bytesOf(target), written(Sample()));
}

TEST_F(Saving, AnUnusableTargetIsAFailureWithAMessage)
{
   std::vector<std::string> targets{folder.path.string(), folder / "none/a.xml", ""};
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
   ASSERT_TRUE(Zq::save(Sample::odd(), file));
   const std::string old = bytesOf(file);
   for (const rlim_t limit : std::initializer_list<rlim_t>{0, 1, 1000, 100'000})
   {
      const int status = statusOf(
         [&]
         {
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit bytes{limit, limit};
            return setrlimit(RLIMIT_FSIZE, &bytes) != 0 || Zq::save(manyNumbers(1), file);
         });
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
      EXPECT_EQ(bytesOf(file), old);
      EXPECT_EQ(filesInFolder(), 1u);
   }
}

TEST_F(Saving, TheNewFileOfAKilledSaveGoesWithTheNextOne)
{
   const Busy killed([] { std::raise(SIGKILL); });
   for (int i = 0; i < 2; ++i)
   {
      EXPECT_TRUE(WIFSIGNALED(statusOf([&] { return Zq::save(killed, file); })));
      EXPECT_EQ(filesInFolder(), 1u);
   }
   // Those of saves that are at work stay, and the one that is the last to end counts.
   const Busy working(
      [&]
      {
         EXPECT_TRUE(WIFSIGNALED(statusOf([&] { return Zq::save(killed, file); })));
         EXPECT_EQ(filesInFolder(), 2u);
         EXPECT_TRUE(Zq::save(Sample::odd(), file));
         EXPECT_EQ(bytesOf(file), written(Sample::odd()));
         EXPECT_EQ(filesInFolder(), 2u);
      });
   EXPECT_TRUE(Zq::save(working, file));
   EXPECT_EQ(bytesOf(file), written(Sample()));
   EXPECT_EQ(filesInFolder(), 1u);
}

TEST_F(Saving, WorksFromTheDestructorOfAStaticObject)
{
   const int status = statusOf(
      []
      {
         lateWriter.joint.setTopElement(ZqDenavitHartenberg::defaultObject());
         lateWriter.expected = written(lateWriter.joint, false);
         std::exit(2);
         return false;
      });
   EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

// Each allocation in turn fails: the answer is then false, the file that was there stays or is the new
// one, and nothing is left beside it. A message cannot be logged without memory and may be missing.
TEST_F(Saving, EveryAllocationMayFail)
{
   const LogCapture log;
   ZqXmlVectorType<ZqDenavitHartenberg> joints(2);
   joints[1] = ZqDenavitHartenberg::defaultObject();
   ASSERT_TRUE(Zq::save(joints, file));
   const std::string document = bytesOf(file);
   for (const bool isLoading : {true, false})
   {
      bool happened = true;
      for (std::size_t n = 1; happened; ++n)
      {
         ZqXmlVectorType<ZqDenavitHartenberg> read;
         bool succeeded = false;
         {
            const FailingAllocation failing(n);
            succeeded = isLoading ? Zq::load(read, file) : Zq::save(joints, file);
            happened = failing.happened();
         }
         EXPECT_TRUE(succeeded || happened) << n;
         EXPECT_TRUE(!isLoading || !succeeded || read == joints) << n;
         ASSERT_EQ(bytesOf(file), document) << n;
         ASSERT_EQ(filesInFolder(), 1U) << n;
      }
   }
}

TEST(Writer, NamesOfAnyNamespaceReadBackInAnyLayout)
{
   const char* const names[] = {ZQ_TEST_NS "root", "plain", "urn:one#a", "urn:two#b", "plain2"};
   for (const int indent : {-1, 0, 3})
   {
      std::stringstream stream;
      ZqXmlWriter writer("out.xml", stream);
      writer.setIndent(indent);
      for (const char* name : names)
         writer.writeStartTag(ZqToken(name));
      writer.setAttributeName(ZqToken("urn:other#key"));
      writer.attributeValue("<\"&'>\n");
      writer.writeStartTagUsingParentNamespace(ZqToken("urn:ignored#child"));
      writer.content("text");
      for (int i = 0; i < 6; ++i)
         writer.writeEndTag();
      EXPECT_TRUE(writer.flush() && writer.good());

      SCOPED_TRACE(stream.str());
      EXPECT_EQ(indent < 0, std::ranges::count(stream.str(), '\n') <= 2);
      LogCapture log;
      ZqXmlReader reader(stream, "out.xml");
      for (const char* name : names)
      {
         EXPECT_EQ(reader.nextNode(), unsigned{ZqXmlReader::StartTag});
         EXPECT_EQ(reader.tagName(), name);
      }
      ASSERT_EQ(reader.attributeCount(), 1u);
      EXPECT_EQ(reader.attributeName(), "urn:other#key");
      EXPECT_EQ(reader.attributeValue(), "<\"&'>\n");
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
   for (const int indent : {-1, 0, 1, 8})
      for (const unsigned columns : {0u, 1u, 2u, 100u})
      {
         std::ostringstream out;
         ZqXmlWriter writer("out.xml", out);
         writer.setIndent(indent);
         writer.setNumOfContentColumns(columns);
         writer.setSchemaLocation(ZQ_TEST_NS " sample.xsd");
         EXPECT_TRUE(Zq::write(Sample::odd(), writer) && writer.flush());
         Sample back;
         EXPECT_TRUE(Zq::fromXml(back, out.str())) << out.str();
         EXPECT_EQ(back, Sample::odd()) << out.str();
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
      EXPECT_TRUE(Zq::fromXml(back, out.str())) << out.str();
      EXPECT_EQ(out.str().find("a\"b"), std::string::npos) << out.str();
   }
}

TEST(Writer, AStreamThatRefusesIsReportedOnce)
{
   struct Refusing : std::streambuf
   {
   } buffer;
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
   const Sample odd = Sample::odd();
   const Sample plain;
   Node node;
   node.children.pushBack(Leaf(5));
   node.children.pushBack(Node(node));
   ZqXmlVectorType<ZqXmlVectorType<ZqString>> texts{{"a", "b c"}, {}};
   for (const ZqXmlObject* object :
        std::initializer_list<const ZqXmlObject*>{&odd, &plain, &node, &texts})
      for (const bool writeDefaults : {true, false})
         EXPECT_TRUE(followsSchema(*object, written(*object, writeDefaults))) << written(*object);
   EXPECT_FALSE(plain.createSchema(TestFolder() / "none/s.xsd", sampleToken));
}
