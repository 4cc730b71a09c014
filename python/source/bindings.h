#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

/// The Python module, a source for each theme. A binding takes and gives NumPy arrays (`arrays.h`), and has
/// what the library logs raised or warned of (`failures.h`).
namespace zqPython
{
namespace py = pybind11;

/// \name Themes
/// Each adds its classes and functions to the module. One that uses the classes of another comes after it.
/// @{
void bindFailures(py::module_& module);
void bindScene(py::module_& module);
void bindState(py::module_& module);
void bindKinematics(py::module_& module);
void bindJoint(py::module_& module);
void bindShape(py::module_& module);
void bindMass(py::module_& module);
void bindModel(py::module_& module);
void bindEditing(py::module_& module);
void bindTools(py::module_& module);
void bindUrdf(py::module_& module);
void bindPosture(py::module_& module);
void bindDynamics(py::module_& module);
void bindBatch(py::module_& module);
void bindSimulation(py::module_& module);
void bindRun(py::module_& module);
void bindControl(py::module_& module);
/// @}
} // namespace zqPython
