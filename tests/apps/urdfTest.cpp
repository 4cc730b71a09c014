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
   std::filesystem::create_directory(scratch("meshes"));
   write("meshes/part.dae", collada);
   const std::string meshed =
      write("mesh.urdf", robotOf(meshOf("package://parts/meshes/part.dae")));
   const Result withMesh = run("convert " + meshed + out + " --package parts=" + scratch(""));
   if (withMesh.out.find("nobody reads meshes") != std::string::npos)
      GTEST_SKIP() << "built without Assimp";
   EXPECT_EQ(withMesh.out, "nothing was lost\n");
   EXPECT_NE(contentOf(scratch("out.xml")).find("0 2 0 1 0 0 0 0 4"), std::string::npos);
   const Json info = runForJson("info " + scratch("out.xml"));
   EXPECT_EQ(info.at("shapes").at("triangleMesh"), 1) << info;
}
} // namespace
