#include "support/logCapture.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/xml/ZqXmlVector.h"

#include <gtest/gtest.h>

using namespace zqTest;

namespace
{
/// A tree as the attachment nodes of manipulators form one: each node holds a vector of its own kind.
class TreeNode : public ZqXmlClass<TreeNode>
{
public:
   static const ZqToken& classToken() { return nodeToken; }
   static constexpr auto components()
   {
      return std::tuple{ZqAttributeComponent(&TreeNode::id, &idToken),
                        ZqComponent{&TreeNode::children, &childrenToken}};
   }
   bool operator==(const TreeNode& other) const
   {
      return id == other.id && children == other.children;
   }

   ZqU32 id = 0;
   ZqXmlVectorType<TreeNode> children;
};

template <class T>
void expectRoundTrip(const T& object)
{
   T back;
   LogCapture log;
   EXPECT_TRUE(readFrom(back, written(object))) << written(object);
   EXPECT_TRUE(log.empty()) << log.text();
   EXPECT_EQ(back, object);
   EXPECT_TRUE(std::unique_ptr<ZqXmlObject>(object.clone())->equality(&back));
   EXPECT_FALSE(object.equalsDefault());
}
} // namespace

TEST(ValueForms, AClassMayHoldAVectorOfItself)
{
   TreeNode leaf;
   leaf.id = 5;
   TreeNode node;
   node.children.pushBack(leaf);
   node.children.pushBack(leaf);
   TreeNode root;
   root.children.pushBack(node);
   expectRoundTrip(root);
   TreeNode copy(root);
   copy.children[0].children[1].id = 6;
   EXPECT_FALSE(copy == root);

   std::string chain;
   for (int i = 0; i < 1000; ++i)
      chain =
         "<children count='1'><element xmlns='http://zqmanipulator.org/namespace/xml#' id='7'>" +
         chain + "</element></children>";
   std::string document = inTag(nodeToken, chain);
   for (auto at = document.find("<children "); at != std::string::npos;
        at = document.find("<children ", at + 1))
      document.insert(at + 9, " xmlns='" ZQ_TEST_NS "'");
   TreeNode deep;
   EXPECT_TRUE(readFrom(deep, document));
   EXPECT_EQ(deep.children[0].children[0].id, 7u);
}

TEST(ValueForms, VectorsAndOrientationsArePersistentObjectsOfTheirOwn)
{
   expectRoundTrip(ZqXmlVector(1.5, -2.5, 3.5));
   expectRoundTrip(ZqXmlOrientation(0.5, -0.5, 0.5, 0.5));
   expectRoundTrip(ZqXmlVectorType<ZqXmlVector>{ZqVector(1.5, 2, 3), ZqVector(4, 5, 6)});
   expectRoundTrip(ZqXmlMapType<ZqString, ZqXmlVector>{{"a b", ZqVector(1.5, 2, 3)}});

   ZqXmlVector vector;
   EXPECT_FALSE(vector.specified());
   EXPECT_TRUE(readFrom(vector, inTag(vector.token(), " 1 \n2\t3 ")));
   EXPECT_EQ(vector, ZqXmlVector(1, 2, 3));
   EXPECT_TRUE(vector.specified());
   std::istringstream stream("<a k='4 5 6'/>");
   ZqXmlReader reader(stream, "bad.xml");
   reader.nextNode();
   ZqXmlVector attribute;
   EXPECT_TRUE(attribute.readAttribute(reader));
   EXPECT_EQ(attribute, ZqXmlVector(4, 5, 6));
   EXPECT_TRUE(attribute.specified());
}
