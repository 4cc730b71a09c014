// Robots in URDF on the command line.

#include "zqsimFixture.h"

namespace
{
const std::string body =
   "<inertial><mass value='1'/><inertia ixx='1' iyy='1' izz='1' ixy='0' ixz='0' "
   "iyz='0'/></inertial>";

std::string robotOf(const std::string& shape)
{
   return "<robot name='arm'>\n<link name='foot'/>\n<link name='boom'>" + body + shape +
          "</link>\n<joint name='hinge' type='continuous'><parent link='foot'/><child link='boom'/>"
          "<origin xyz='0 0 7'/><axis xyz='0 1 0'/></joint></robot>\n";
}
std::string meshOf(const std::string& name)
{
   return "<visual><geometry><mesh filename='" + name + "'/></geometry></visual>";
}
/// A tetrahedron with edges of 1, 2 and 4 m along the axes, told in a unit of half a metre and with y up.
const char* const collada =
   R"(<?xml version="1.0"?><COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">
<asset><unit meter="0.5" name="half"/><up_axis>Y_UP</up_axis></asset>
<library_geometries><geometry id="g"><mesh>
<source id="p"><float_array id="a" count="12">0 0 0 2 0 0 0 4 0 0 0 8</float_array>
<technique_common><accessor source="#a" count="4" stride="3"><param name="X" type="float"/>
<param name="Y" type="float"/><param name="Z" type="float"/></accessor></technique_common></source>
<vertices id="v"><input semantic="POSITION" source="#p"/></vertices>
<triangles count="4"><input semantic="VERTEX" source="#v" offset="0"/>
<p>0 2 1 0 1 3 0 3 2 1 2 3</p></triangles></mesh></geometry></library_geometries>
<library_visual_scenes><visual_scene id="s"><node id="n"><instance_geometry url="#g"/></node>
</visual_scene></library_visual_scenes><scene><instance_visual_scene url="#s"/></scene></COLLADA>)";

TEST_F(Zqsim, RobotsInUrdfAreConverted)
{
   const auto write = [&](const std::string& name, const std::string& content)
   {
      std::ofstream(scratch(name)) << content;
      return scratch(name);
   };
   const std::string out = " -o " + scratch("out.xml");
   // By what is in it, not by its name.
   const std::string clean = write("clean.txt", robotOf(""));
   const Result converted = run("convert " + clean + out + " --strict");
   EXPECT_EQ(converted.code, 0) << converted.err;
   EXPECT_EQ(converted.out, "nothing was lost\n");
   EXPECT_EQ(converted.err, "");
   const Json frames = runForJson("frames " + scratch("out.xml"));
   EXPECT_EQ(frames.at("manipulators"), runForJson("frames " + clean).at("manipulators"));
   EXPECT_EQ(run("convert - -o - <" + clean).out, contentOf(scratch("out.xml")));

   const std::string lossy = write("lossy.urdf", robotOf(meshOf("package://parts/none.stl")));
   const Json report = runForJson("convert " + lossy + out + " --strict", 5);
   ASSERT_EQ(report.at("losses").size(), 1U);
   EXPECT_EQ(report["losses"][0].at("line"), 3);
   EXPECT_EQ(report["losses"][0].at("kind"), "lost");
   EXPECT_EQ(run("convert " + lossy + out).code, 0);
   const Result piped = run("convert " + lossy + " -o -");
   EXPECT_EQ(piped.out.substr(0, 5), "<?xml");
   EXPECT_NE(piped.err.find("link 'boom', mesh"), std::string::npos) << piped.err;
   EXPECT_NE(run("info " + lossy).err.find("lost or changed: 1"), std::string::npos);

   EXPECT_EQ(run("convert " + lossy + out + " --package parts").code, 2);
   EXPECT_EQ(run("convert " + scratch("out.xml") + out + " --free-base").code, 2);
   const Result bad =
      run("convert " + write("bad.urdf", "<robot name='r'>\n<link/></robot>") + out);
   EXPECT_EQ(bad.code, 3);
   EXPECT_NE(bad.err.find("bad.urdf:2: "), std::string::npos) << bad.err;

   // A mesh in a package, of which the unit counts and the up axis does not.
   std::filesystem::create_directories(scratch("meshes"));
   write("meshes/part.dae", collada);
   const std::string meshed =
      write("mesh.urdf", robotOf(meshOf("package://parts/meshes/part.dae")));
   const Result withMesh = run("convert " + meshed + out + " --package parts=" + scratch(""));
   if (withMesh.out.find("nobody reads meshes") != std::string::npos)
      GTEST_SKIP() << "built without Assimp";
   EXPECT_EQ(withMesh.out, "nothing was lost\n");
   EXPECT_NE(contentOf(scratch("out.xml")).find("0 2 0 1 0 0 0 0 4"), std::string::npos);
   const std::string scene = contentOf(scratch("out.xml"));
   // Written again, and found by both kinds of names.
   const auto toFolder = [&](const std::string& uri)
   {
      return run("convert " + scratch("out.xml") + " -o " + scratch("again.urdf") +
                 " --strict --mesh-folder " + scratch("new/meshes") + uri);
   };
   for (const std::string uri : {"", " --mesh-uri package://new/meshes/"})
   {
      EXPECT_EQ(toFolder(uri).out, "nothing was lost\n");
      EXPECT_EQ(run("convert " + scratch("again.urdf") + " -o -").out, scene) << uri;
   }
   std::filesystem::remove_all(scratch("new"));
   EXPECT_EQ(run("convert " + scratch("again.urdf") + out + " --strict").code, 5);
   std::ofstream(scratch("new")) << "a file in the way";
   EXPECT_EQ(toFolder("").code, 1);
}

TEST_F(Zqsim, RobotsAreWrittenInUrdf)
{
   const std::string out = " -o " + scratch("out.urdf");
   // What stands in the document comes back: links, drives, and the names of all.
   std::ofstream(scratch("in.txt"))
      << "<robot name='arm'><link name='foot'/><link name='boom'>" + body +
            "</link><joint name='hinge' type='revolute'><parent link='foot'/><child link='boom'/>"
            "<origin xyz='0 0 7' rpy='1 2 3'/><axis xyz='0 1 0'/><limit lower='-1' upper='2' "
            "effort='3' velocity='4'/><dynamics damping='5' friction='6'/></joint><transmission>"
            "<joint name='hinge'/><actuator name='boom_motor'><mechanicalReduction>4"
            "</mechanicalReduction></actuator></transmission></robot>";
   EXPECT_EQ(run("convert " + scratch("in.txt") + out + " --strict").out, "nothing was lost\n");
   EXPECT_EQ(run("convert " + scratch("in.txt") + " -o -").out,
             run("convert " + scratch("out.urdf") + " -o - --strict").out);
   EXPECT_EQ(run("convert " + scratch("in.txt") + " -o - --as urdf").out,
             contentOf(scratch("out.urdf")));
   EXPECT_EQ(run("convert " + scratch("out.urdf") + out + " --as model").code, 0);
   EXPECT_EQ(contentOf(scratch("out.urdf")).substr(0, 5), "<?xml");
   EXPECT_EQ(run("convert " + scratch("out.urdf") + " -o - --as urdf").code, 0);

   // One tree of several, with what it carries.
   const std::string arms = "convert " + model("twoArms") + out;
   const Json report = runForJson(arms + " --strict", 5);
   bool isLabelTold = false;
   for (const Json& loss : report.at("losses"))
   {
      isLabelTold = isLabelTold || loss.at("place") == "link 'rightArm/hand'";
      EXPECT_FALSE(loss.contains("line")) << loss;
   }
   EXPECT_TRUE(isLabelTold) << report;
   EXPECT_EQ(run(arms + " --manipulator leftArm").code, 0);
   EXPECT_EQ(contentOf(scratch("out.urdf")).find("rightArm"), std::string::npos);

   for (const std::string& wrong :
        {model("gripper") + out, arms.substr(8) + " --manipulator left",
         arms.substr(8) + " --mesh-uri x", model("twoArms") + " -o x.xml --mesh-folder x",
         model("twoArms") + " -o x.xml --manipulator leftArm"})
      EXPECT_EQ(run("convert " + wrong).code, 2) << wrong;
   EXPECT_NE(run("convert " + model("gripper") + out).err.find("\"floor\", \"gripper\""),
             std::string::npos);
}
} // namespace
