#include "python/source/bindings.h"

PYBIND11_MODULE(_core, module)
{
   module.doc() = "What is compiled of zqmanipulator.";
   module.attr("__version__") = ZQ_VERSION;
   zqPython::bindFailures(module);
   zqPython::bindScene(module);
   zqPython::bindState(module);
   zqPython::bindKinematics(module);
   zqPython::bindJoint(module);
   zqPython::bindShape(module);
   zqPython::bindMass(module);
   zqPython::bindModel(module);
   zqPython::bindEditing(module);
   zqPython::bindTools(module);
   zqPython::bindUrdf(module);
   zqPython::bindPosture(module);
   zqPython::bindDynamics(module);
   zqPython::bindBatch(module);
   zqPython::bindSimulation(module);
   zqPython::bindRun(module);
   zqPython::bindControl(module);
}
