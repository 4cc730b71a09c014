// Rotations, and the dense factorisations that the dynamics live on, beside Eigen's.

#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqRandom.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"

#include <Eigen/Cholesky>
#include <Eigen/Geometry>
#include <benchmark/benchmark.h>

#include <vector>

namespace
{
using EigenMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

ZqReArray randomArray(ZqU32 rows, ZqU32 columns)
{
   ZqReArray result(rows, columns);
   for (ZqU32 i = 0; i < rows; ++i)
      for (double& value : result[i])
         value = ZqRandom::uniformRandom(-1.0, 1.0);
   return result;
}

/// A positive definite matrix: a square and the unit matrix.
ZqReArray randomInertia(ZqU32 n)
{
   ZqReArray result;
   const ZqReArray A = randomArray(n, n);
   A.leftTransposeMultiply(A, result);
   return result + ZqReArray::identity(n);
}

EigenMatrix toEigen(const ZqReArray& array)
{
   return Eigen::Map<const EigenMatrix>(array.data(), array.rows(), array.columns());
}

ZqOrientation randomOrientation()
{
   ZqOrientation q;
   q.setFromAngleAxis(ZqRandom::uniformRandom(-3.0, 3.0), ZqRandom::randomUnitVector());
   return q;
}

void quaternionProduct(benchmark::State& state)
{
   const ZqOrientation a = randomOrientation();
   ZqOrientation q = randomOrientation();
   for (auto unused : state)
      benchmark::DoNotOptimize(q = a * q);
}
BENCHMARK(quaternionProduct);

void eigenQuaternionProduct(benchmark::State& state)
{
   const Eigen::Quaterniond a = Eigen::Quaterniond::UnitRandom();
   Eigen::Quaterniond q = Eigen::Quaterniond::UnitRandom();
   for (auto unused : state)
      benchmark::DoNotOptimize(q = a * q);
}
BENCHMARK(eigenQuaternionProduct);

void quaternionRotation(benchmark::State& state)
{
   const ZqOrientation q = randomOrientation();
   ZqVector v(0.1, 0.2, 0.3);
   for (auto unused : state)
      benchmark::DoNotOptimize(v = q * v);
}
BENCHMARK(quaternionRotation);

void matrixFromQuaternion(benchmark::State& state)
{
   ZqOrientation q = randomOrientation();
   for (auto unused : state)
   {
      benchmark::DoNotOptimize(q);
      benchmark::DoNotOptimize(ZqRotationMatrix(q));
   }
}
BENCHMARK(matrixFromQuaternion);

void matrixRotation(benchmark::State& state)
{
   const ZqRotationMatrix R(randomOrientation());
   ZqVector v(0.1, 0.2, 0.3);
   for (auto unused : state)
      benchmark::DoNotOptimize(v = R * v);
}
BENCHMARK(matrixRotation);

void matrixProduct(benchmark::State& state)
{
   const ZqRotationMatrix A(randomOrientation());
   ZqRotationMatrix R(randomOrientation());
   for (auto unused : state)
      benchmark::DoNotOptimize(R = A * R);
}
BENCHMARK(matrixProduct);

void spatialMatrixRotated(benchmark::State& state)
{
   const ZqRotationMatrix R(randomOrientation());
   ZqSpatialMatrix M(3.0, 0.1, 0.2, 0.1, 4.0, 0.3, 0.2, 0.3, 5.0);
   for (auto unused : state)
   {
      benchmark::DoNotOptimize(M);
      benchmark::DoNotOptimize(M.rotated(R));
   }
}
BENCHMARK(spatialMatrixRotated);

void integrateOrientation(benchmark::State& state)
{
   ZqOrientation q;
   for (auto unused : state)
   {
      q.integrateReferenceFrameAngularVelocity({0.3, -0.4, 0.5}, 1e-3);
      benchmark::DoNotOptimize(q);
   }
}
BENCHMARK(integrateOrientation);

void choleskyFactorAndSolve(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const ZqReArray M = randomInertia(n);
   const ZqReArray b = randomArray(n, 1);
   ZqReArray L;
   ZqReArray x;
   for (auto unused : state)
   {
      M.choleskyFactor(L);
      L.choleskySolve(b, x);
      benchmark::DoNotOptimize(x.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(choleskyFactorAndSolve)->Arg(6)->Arg(7)->Arg(30)->Arg(100);

void eigenCholeskyFactorAndSolve(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const Eigen::MatrixXd M = toEigen(randomInertia(n));
   const Eigen::VectorXd b = toEigen(randomArray(n, 1));
   Eigen::LLT<Eigen::MatrixXd> L(n);
   Eigen::VectorXd x(n);
   for (auto unused : state)
   {
      L.compute(M);
      x = L.solve(b);
      benchmark::DoNotOptimize(x.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(eigenCholeskyFactorAndSolve)->Arg(6)->Arg(7)->Arg(30)->Arg(100);

void choleskySolveOnly(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const ZqReArray b = randomArray(n, 1);
   ZqReArray L;
   randomInertia(n).choleskyFactor(L);
   ZqReArray x;
   for (auto unused : state)
   {
      L.choleskySolve(b, x);
      benchmark::DoNotOptimize(x.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(choleskySolveOnly)->Arg(6)->Arg(7)->Arg(30)->Arg(100);

void eigenCholeskySolveOnly(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const Eigen::VectorXd b = toEigen(randomArray(n, 1));
   const Eigen::LLT<Eigen::MatrixXd> L(toEigen(randomInertia(n)));
   Eigen::VectorXd x(n);
   for (auto unused : state)
   {
      x = L.solve(b);
      benchmark::DoNotOptimize(x.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(eigenCholeskySolveOnly)->Arg(6)->Arg(7)->Arg(30)->Arg(100);

/// The shape of a constraint solve: as many right-hand sides as a sixth of the unknowns, or 6.
void choleskySolveTranspose(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const ZqReArray G = randomArray(std::max(6U, n / 6), n);
   ZqReArray L;
   randomInertia(n).choleskyFactor(L);
   ZqReArray X;
   for (auto unused : state)
   {
      L.choleskySolveTranspose(G, X);
      benchmark::DoNotOptimize(X.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(choleskySolveTranspose)->Arg(6)->Arg(7)->Arg(30)->Arg(100);

void eigenCholeskySolveTranspose(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const EigenMatrix G = toEigen(randomArray(std::max(6U, n / 6), n));
   const Eigen::LLT<Eigen::MatrixXd> L(toEigen(randomInertia(n)));
   EigenMatrix X(n, G.rows());
   for (auto unused : state)
   {
      X = L.solve(G.transpose());
      benchmark::DoNotOptimize(X.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(eigenCholeskySolveTranspose)->Arg(6)->Arg(7)->Arg(30)->Arg(100);

void multiply(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const ZqReArray A = randomArray(n, n);
   const ZqReArray B = randomArray(n, n);
   ZqReArray C;
   for (auto unused : state)
   {
      A.multiply(B, C);
      benchmark::DoNotOptimize(C.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(multiply)->Arg(6)->Arg(7)->Arg(30)->Arg(100);

void eigenMultiply(benchmark::State& state)
{
   const auto n = static_cast<ZqU32>(state.range(0));
   const EigenMatrix A = toEigen(randomArray(n, n));
   const EigenMatrix B = toEigen(randomArray(n, n));
   EigenMatrix C(n, n);
   for (auto unused : state)
   {
      C.noalias() = A * B;
      benchmark::DoNotOptimize(C.data());
      benchmark::ClobberMemory();
   }
}
BENCHMARK(eigenMultiply)->Arg(6)->Arg(7)->Arg(30)->Arg(100);
} // namespace
