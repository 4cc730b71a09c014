// Reading and writing documents of D-H joints, beside Expat alone on the same bytes.
//
// Counters: bytes/s of document; "peak/objects" is the largest sum of live allocations during the
// read over the size of the objects themselves.

#include "models.h"
#include "zqManipulator/zqManipulator.h"

#include <benchmark/benchmark.h>
#include <expat.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <new>
#include <sstream>
#include <streambuf>

namespace
{
std::size_t liveBytes = 0;
std::size_t peakBytes = 0;

void* counted(std::size_t size)
{
   void* memory = std::malloc(size);
   if (memory == nullptr)
      throw std::bad_alloc();
   liveBytes += malloc_usable_size(memory);
   peakBytes = std::max(peakBytes, liveBytes);
   return memory;
}

void release(void* memory)
{
   liveBytes -= memory != nullptr ? malloc_usable_size(memory) : 0;
   std::free(memory);
}
} // namespace

void* operator new(std::size_t size)
{
   return counted(size);
}
void operator delete(void* memory) noexcept
{
   release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
   release(memory);
}

namespace
{
using Joints = ZqXmlVectorType<ZqDenavitHartenberg>;

/// Joints with a value of full length in every member.
Joints makeJoints(std::size_t count)
{
   ZqRandom::setSeed(1);
   Joints joints;
   joints.reserve(static_cast<unsigned>(count));
   const auto frame = []
   {
      ZqOrientation orientation;
      orientation.setFromAngleAxis(ZqRandom::normalRandom(0.0, 1.0), ZqRandom::randomUnitVector());
      return ZqCoordinateSystemTransformation(ZqRandom::randomUnitVector(), orientation);
   };
   for (std::size_t i = 0; i < count; ++i)
   {
      ZqDenavitHartenberg joint;
      joint.setJointType(static_cast<ZqU32>(i % 2));
      joint.setDhType(static_cast<ZqU32>(i % 5));
      joint.setPrimaryFrame(frame());
      joint.setPrecursor(frame());
      joint.setDhA(ZqRandom::normalRandom(0.0, 1.0));
      joint.setDhD(ZqRandom::normalRandom(0.0, 1.0));
      joint.setDhAlpha(ZqRandom::normalRandom(0.0, 1.0));
      joint.setDhTheta(ZqRandom::normalRandom(0.0, 1.0));
      joints.pushBack(joint);
   }
   return joints;
}

const ZqString& document(std::size_t count)
{
   static std::map<std::size_t, ZqString> documents;
   ZqString& text = documents[count];
   if (text.empty() && !Zq::toXml(makeJoints(count), text))
      std::abort();
   return text;
}

void setCounters(benchmark::State& state, const ZqString& text)
{
   state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
   state.SetComplexityN(state.range(0));
}

/// The floor: Expat with namespaces and handlers that do nothing. A tag that does not fit a block is fed
/// in growing ones, as the reader does it.
void parse(benchmark::State& state, const ZqString& text)
{
   XML_Parser parser = XML_ParserCreateNS(nullptr, '\0');
   XML_SetElementHandler(
      parser, [](void*, const char*, const char**) {}, [](void*, const char*) {});
   XML_SetCharacterDataHandler(parser, [](void*, const char*, int) {});
   bool good = true;
   for (std::size_t at = 0; good && at < text.size();)
   {
      const auto done =
         static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(parser), 0));
      const std::size_t size = std::min(std::max<std::size_t>(65536, at - done), text.size() - at);
      good = XML_Parse(parser, text.data() + at, static_cast<int>(size),
                       at + size == text.size()) == XML_STATUS_OK;
      at += size;
   }
   if (!good)
      state.SkipWithError("the document does not parse");
   XML_ParserFree(parser);
}

void expatAlone(benchmark::State& state)
{
   const ZqString& text = document(static_cast<std::size_t>(state.range(0)));
   for (auto _ : state)
      parse(state, text);
   setCounters(state, text);
}

void read(benchmark::State& state)
{
   const ZqString& text = document(static_cast<std::size_t>(state.range(0)));
   double ratio = 0.0;
   for (auto _ : state)
   {
      peakBytes = liveBytes;
      const std::size_t before = liveBytes;
      Joints joints;
      if (!Zq::fromXml(joints, text))
         state.SkipWithError("the document does not read");
      ratio = static_cast<double>(peakBytes - before) /
              (static_cast<double>(joints.size()) * sizeof(ZqDenavitHartenberg));
   }
   setCounters(state, text);
   state.counters["peak/objects"] = ratio;
}

/// Takes bytes and counts them.
class Sink : public std::streambuf
{
protected:
   std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
   int_type overflow(int_type c) override { return c; }
};

void write(benchmark::State& state)
{
   const auto count = static_cast<std::size_t>(state.range(0));
   const Joints joints = makeJoints(count);
   for (auto _ : state)
   {
      Sink sink;
      std::ostream stream(&sink);
      ZqXmlWriter writer("(benchmark)", stream);
      if (!Zq::write(joints, writer))
         state.SkipWithError("the document is not written");
   }
   setCounters(state, document(count));
}

/// A document of many things that the object does not know: distinct element names, or attributes of
/// one element.
ZqString unknownThings(std::int64_t count, bool attributes)
{
   ZqString text =
      "<linkKinematicsContainer xmlns=\"" + ZqManip::ns.token() + "\"><denavitHartenberg";
   if (!attributes)
      text += '>';
   for (std::int64_t i = 0; i < count; ++i)
      text += attributes ? " u" + std::to_string(i) + "=\"1\"" : "<u" + std::to_string(i) + "/>";
   text += attributes ? "/>" : "</denavitHartenberg>";
   return text + "</linkKinematicsContainer>";
}

void readUnknown(benchmark::State& state, bool attributes)
{
   const ZqString text = unknownThings(state.range(0), attributes);
   const Zq::Print::Sink old = Zq::Print::instance().setSink([](unsigned, std::string_view) {});
   for (auto _ : state)
   {
      ZqLinkKinematicsContainer container;
      if (!Zq::fromXml(container, text))
         state.SkipWithError("the document does not read");
   }
   Zq::Print::instance().setSink(old);
   setCounters(state, text);
}

void expatAloneUnknown(benchmark::State& state, bool attributes)
{
   const ZqString text = unknownThings(state.range(0), attributes);
   for (auto _ : state)
      parse(state, text);
   setCounters(state, text);
}

/// A stated system of so many manipulators of ten links with random members.
const ZqStatedSystem& scene(std::int64_t manipulators)
{
   static std::map<std::int64_t, ZqStatedSystem> scenes;
   const auto [entry, isNew] = scenes.try_emplace(manipulators);
   if (isNew)
   {
      zqTest::RandomValues random(10);
      ZqManipulatorSystem system;
      ZqManipulatorSystem::Manipulators list;
      for (std::int64_t i = 0; i < manipulators; ++i)
      {
         ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, 10);
         manipulator.setManipulatorLabel("manipulator" + std::to_string(i));
         list.pushBack(manipulator);
      }
      system.setManipulators(list);
      entry->second.setFromSystem(system);
   }
   return entry->second;
}

const ZqString& sceneDocument(std::int64_t manipulators)
{
   static std::map<std::int64_t, ZqString> documents;
   ZqString& text = documents[manipulators];
   if (text.empty() && !Zq::toXml(scene(manipulators), text))
      std::abort();
   return text;
}

void expatAloneScene(benchmark::State& state)
{
   const ZqString& text = sceneDocument(state.range(0));
   for (auto _ : state)
      parse(state, text);
   setCounters(state, text);
}

void readScene(benchmark::State& state)
{
   const ZqString& text = sceneDocument(state.range(0));
   for (auto _ : state)
   {
      ZqStatedSystem read;
      if (!Zq::fromXml(read, text))
         state.SkipWithError("the document does not read");
   }
   setCounters(state, text);
}

void writeScene(benchmark::State& state)
{
   const ZqStatedSystem& written = scene(state.range(0));
   for (auto _ : state)
   {
      Sink sink;
      std::ostream stream(&sink);
      ZqXmlWriter writer("(benchmark)", stream);
      if (!Zq::write(written, writer))
         state.SkipWithError("the document is not written");
   }
   setCounters(state, sceneDocument(state.range(0)));
}

/// What a copy takes until it is changed, and once it is.
void copyScene(benchmark::State& state)
{
   const ZqStatedSystem& original = scene(state.range(0));
   std::size_t shared = 0;
   std::size_t changed = 0;
   for (auto _ : state)
   {
      const std::size_t before = liveBytes;
      ZqStatedSystem copy(original);
      shared = liveBytes - before;
      copy.setEnvironment(ZqSystemEnvironment());
      changed = liveBytes - before;
   }
   state.counters["bytes"] = static_cast<double>(shared);
   state.counters["bytesOnceChanged"] = static_cast<double>(changed);
}

void manyNames(benchmark::internal::Benchmark* benchmark)
{
   for (const int count : {125000, 250000, 500000, 1000000})
      benchmark->Arg(count)->Unit(benchmark::kMillisecond);
}
} // namespace

BENCHMARK(expatAlone)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(read)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(write)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(read)
   ->RangeMultiplier(2)
   ->Range(1000, 1024000)
   ->Unit(benchmark::kMillisecond)
   ->Complexity();
BENCHMARK(write)
   ->RangeMultiplier(2)
   ->Range(1000, 1024000)
   ->Unit(benchmark::kMillisecond)
   ->Complexity();
BENCHMARK(expatAloneScene)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(readScene)->Arg(1000)->Arg(4000)->Unit(benchmark::kMillisecond);
BENCHMARK(writeScene)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(copyScene)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(expatAloneUnknown, elements, false)->Apply(manyNames);
BENCHMARK_CAPTURE(readUnknown, elements, false)->Apply(manyNames);
BENCHMARK_CAPTURE(expatAloneUnknown, attributes, true)->Apply(manyNames);
BENCHMARK_CAPTURE(readUnknown, attributes, true)->Apply(manyNames);
