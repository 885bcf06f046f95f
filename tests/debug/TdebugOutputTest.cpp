// Debug output sinks: indentation, sections, buffer growth, names, file sinks, ownership.
#include <velacore/base/Ttrigger.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/debug/TdebugOutputFile.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformStack.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "DebugTestUtil.h"

namespace fs = std::filesystem;

TEST(TdebugOutput, IndentationUnderflowAndMaximum) {
  TdebugOutputString out;
  out.setIndent(2);
  out.print("a\n");
  out.setIndent(-4);  // two levels below zero
  out.print("b\n");
  out.setIndentAbsolute(12);
  out.setMaxIndent(10);
  EXPECT_TRUE(out.isOverMaxIndent());
  out.print("c\n");
  out.setIndent(-9);  // 3: below the maximum again, and shorter than before
  out.print("d\n");
  out.setMaxIndent(0);
  out.setIndentAbsolute(1);
  out.skipNextIndent();
  out.print("e\n");
  out.print("f\n");
  out.printNoIndent("g\n");
  out.printError("h %d\n", 7);
  const std::string tenUnits(30, ' ');
  EXPECT_EQ(std::string(out.string().asC()),
            "      a\n<<<<<<b\n-  2 ->" + tenUnits + "c\n         d\ne\n   f\ng\n   ERR: h 7\n");
  EXPECT_EQ(out.indent(), 1);
  EXPECT_STREQ(out.indentationString().asC(), "   ");
}

TEST(TdebugOutput, SectionsNestAndReturnTitles) {
  TdebugOutputString out;
  EXPECT_STREQ(out.beginSection("mesh %s", "body").asC(), "mesh body");
  out.print("faces\n");
  out.beginSection("uv");
  out.endSection("uv %d", 2);
  out.beginSection("normals");
  out.endSection(nullptr);
  out.endSection();
  EXPECT_STREQ(out.string().asC(),
               "mesh body\n{\n   faces\n   uv\n   {\n   } // uv 2\n   normals\n   {\n"
               "   } // (empty)\n}\n");
  EXPECT_EQ(out.indent(), 0);
  EXPECT_EQ(out.owner(), 0u);  // every section closed: ownership given back
}

TEST(TdebugOutput, TimedLinesAndNullFormat) {
  TdebugOutputString out;
  out.print(nullptr);
  out.printError(nullptr);
  EXPECT_TRUE(out.string().isEmpty());
  out.setTimed(true);
  out.print("x\n");
  const std::string text = out.string().asC();
  ASSERT_EQ(text.size(), std::string("HH:MM:SS.mmm x\n").size());
  EXPECT_EQ(text[2], ':');
  EXPECT_EQ(text[8], '.');
  out.clear();
  out.setUseIndent(false);  // no time stamp either
  out.print("y\n");
  EXPECT_STREQ(out.string().asC(), "y\n");
}

TEST(TdebugOutput, LongMessageGrowsBufferInSteps) {
  TdebugOutputString out;
  EXPECT_EQ(out.formatBufferSize(), 1024u);
  const std::string big(5000, 'x');
  out.print("<%s>\n", big.c_str());
  EXPECT_EQ(std::string(out.string().asC()), "<" + big + ">\n");
  EXPECT_EQ(out.formatBufferSize(), 5120u);  // 5003 bytes with the NUL: five steps
  out.print("%s", std::string(1023, 'y').c_str());  // exactly fills the first step
  EXPECT_EQ(out.formatBufferSize(), 5120u);

  TdebugOutputString exact;
  exact.print("%s", std::string(1023, 'z').c_str());
  EXPECT_EQ(exact.formatBufferSize(), 1024u);
  exact.print("%s", std::string(1024, 'z').c_str());
  EXPECT_EQ(exact.formatBufferSize(), 2048u);
}

TEST(TdebugOutput, NamesAndStandardSinks) {
  EXPECT_STREQ(TdebugOutput::sCout().name().asC(), "stdout");
  EXPECT_STREQ(TdebugOutput::sCerr().name().asC(), "stderr");
  EXPECT_STREQ(TdebugOutputTrace::sTrace().name().asC(), "msdev");
  std::ostringstream stream;
  TdebugOutput other(&stream);
  char expected[64];
  std::snprintf(expected, sizeof expected, "STREAM: 0x%p", static_cast<void*>(&stream));
  EXPECT_STREQ(other.name().asC(), expected);
  other.printMark("here");
  EXPECT_EQ(stream.str(), "==== here ====\n");
  EXPECT_STREQ(TdebugOutput::sNullString(nullptr), "(null)");
  EXPECT_STREQ(TdebugOutput::sBoolString(false), "false");

  // The trace sink keeps nothing once a line is complete.
  TdebugOutputTrace::sTrace().print("velacore test line\n");
  EXPECT_TRUE(TdebugOutputTrace::sTrace().string().isEmpty());
}

TEST(TdebugOutput, StandardSinksMadeOnceUnderRace) {
  std::vector<std::thread> threads;
  std::vector<TdebugOutput*> seen(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&seen, i] { seen[i] = &(i % 2 ? TdebugOutput::sCout() : TdebugOutput::sCerr()); });
  }
  for (auto& t : threads) t.join();
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(seen[i], i % 2 ? &TdebugOutput::sCout() : &TdebugOutput::sCerr());
  }
}

TEST(TdebugOutput, SharedSinkDiesWithLastReference) {
  const int before = TdebugOutput::sNumOutputs();
  auto* out = new TdebugOutputString();
  EXPECT_EQ(TdebugOutput::sNumOutputs(), before + 1);
  out->ref();
  out->ref();
  out->unref();
  EXPECT_EQ(out->refCount(), 1);
  out->unref();  // deletes and unregisters
  EXPECT_EQ(TdebugOutput::sNumOutputs(), before);
}

class TdebugOutputFileTest : public ::testing::Test {
 protected:
  void SetUp() override { fEnv.unsetAll(); }
  TempDir fDir;
  DebugEnvGuard fEnv;
};

TEST_F(TdebugOutputFileTest, PlacedByLocationVariablesAndOpenedOnFirstWrite) {
  const fs::path build = fDir.path() / "build";
  fs::create_directories(build);
  fEnv.set("BUILD", build.string());
  auto* sink = TdebugOutputFile::sFindOrMakeNamedOutput("trace.txt");
  EXPECT_STREQ(sink->name().asC(), (build / "trace.txt").string().c_str());
  EXPECT_EQ(TdebugOutputFile::sFindNamedOutput("trace.txt"), sink);
  EXPECT_EQ(sink->openState(), TdebugOutputFile::kNeverOpened);
  EXPECT_FALSE(fs::exists(build / "trace.txt"));  // nothing written yet
  sink->print("one\n");
  EXPECT_EQ(sink->openState(), TdebugOutputFile::kOpen);
  sink->close();
  EXPECT_EQ(sink->openState(), TdebugOutputFile::kClosed);
  sink->print("two\n");  // reopens and appends
  sink->closeNoReopen();
  sink->print("dropped\n");
  EXPECT_EQ(readFile(build / "trace.txt"), "one\ntwo\n");
  sink->unref();
  EXPECT_EQ(TdebugOutputFile::sFindNamedOutput("trace.txt"), nullptr);

  // VELA_DEBUG_LOCATION comes first; absolute names are kept.
  fEnv.set("VELA_DEBUG_LOCATION", fDir.path().string());
  EXPECT_STREQ(TdebugOutputFile::sFullFileName("t.txt").asC(),
               (fDir.path() / "t.txt").string().c_str());
  EXPECT_STREQ(TdebugOutputFile::sFullFileName("/abs/t.txt").asC(), "/abs/t.txt");
}

TEST_F(TdebugOutputFileTest, UnopenableFileReportedOnceAndDropped) {
  StreamCapture err(std::cerr);
  TdebugOutputFile sink((fDir.path() / "missing-dir" / "x.txt").string().c_str());
  sink.print("a\n");
  sink.print("b\n");
  const std::string text = err.text();
  EXPECT_NE(text.find("ERR: cannot open debug output file"), std::string::npos) << text;
  EXPECT_EQ(text.find("ERR:"), text.rfind("ERR:")) << "reported more than once: " << text;
}

// Two threads fight over one sink's sections: every section must come out whole, with its
// body indented one level, because the loser of the ownership race does nothing.
TEST(TdebugOutputThreads, SectionsOfTwoThreadsStayWhole) {
  TdebugOutputString out;
  std::atomic<int> opened[2] = {{0}, {0}};
  auto work = [&](int id) {
    for (int i = 0; i < 300; ++i) {
      if (out.beginSection("t%d", id).isEmpty()) {
        // The other thread owns the sink. A pair of indentation changes must be bracketed by
        // ownership of its own, or the other thread could start a section between the two.
        if (out.acquireOwnership()) {
          out.setIndent(1);
          out.setIndent(-1);
          out.releaseOwnership();
        }
        continue;
      }
      ++opened[id];
      out.print("body %d\n", id);
      out.setIndent(1);
      out.print("deeper %d\n", id);
      out.setIndent(-1);
      out.endSection();
    }
  };
  std::thread a(work, 0);
  std::thread b(work, 1);
  a.join();
  b.join();
  EXPECT_EQ(out.indent(), 0);
  std::istringstream lines(out.string().asC());
  std::string line;
  int sections = 0;
  while (std::getline(lines, line)) {
    ASSERT_TRUE(line == "t0" || line == "t1") << line;
    const std::string id = line.substr(1);
    std::string open, body, deeper, close;
    std::getline(lines, open);
    std::getline(lines, body);
    std::getline(lines, deeper);
    std::getline(lines, close);
    EXPECT_EQ(open, "{");
    EXPECT_EQ(body, "   body " + id);
    EXPECT_EQ(deeper, "      deeper " + id);
    EXPECT_EQ(close, "}");
    ++sections;
  }
  EXPECT_EQ(sections, opened[0] + opened[1]);
  EXPECT_GT(sections, 0);
}

// A real stack: the library's exported functions on the way show demangled, frames are
// numbered from the caller, and skip and depth cut the list as asked.
TEST(TdebugOutput, PrintStackShowsTheCallersDemangled) {
  TdebugOutputString full;
  TdebugOutputString cut;
  Ttrigger trigger;  // its fire() is a library frame between this test and the printing
  volatile int calls = 0;  // after the last print, so that it is not a tail call (no frame)
  trigger.add([&] {
    full.printStack(0, 0);
    cut.printStack(1, 2);
    calls = calls + 1;
  });
  trigger.fire();
  const std::string all = full.string().asC();
  const std::string two = cut.string().asC();
  std::vector<std::string> lines;
  std::istringstream in(all);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  ASSERT_GE(lines.size(), 3u) << all;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    // "#N 0xADDRESS function+0xOFFSET (module)"
    const std::string& line = lines[i];
    const std::string number = "#" + std::to_string(i) + " 0x";
    EXPECT_EQ(line.compare(0, number.size(), number), 0) << line;
    const std::size_t plus = line.rfind("+0x");
    const std::size_t open = line.rfind(" (");
    ASSERT_NE(plus, std::string::npos) << line;
    ASSERT_NE(open, std::string::npos) << line;
    EXPECT_LT(plus, open) << line;
    EXPECT_EQ(line.back(), ')') << line;
  }
  EXPECT_NE(all.find(" Ttrigger::fire() const+0x"), std::string::npos) << all;
  EXPECT_EQ(all.find("printStack"), std::string::npos) << all;  // starts at the caller
  EXPECT_NE(all.find("(libvelacore.so"), std::string::npos) << all;

  // skip 1 leaves out the caller (the lambda): the rest is the full list shifted by one frame,
  // addresses and all.
  std::istringstream cutIn(two);
  std::vector<std::string> cutLines;
  for (std::string line; std::getline(cutIn, line);) cutLines.push_back(line);
  ASSERT_EQ(cutLines.size(), 2u) << two;
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(cutLines[i].substr(cutLines[i].find(' ')),
              lines[i + 1].substr(lines[i + 1].find(' ')));
  }
  EXPECT_EQ(vela::platform::demangle("_ZN8Ttrigger4fireEv"), "Ttrigger::fire()");
  EXPECT_EQ(vela::platform::demangle("main"), "main");
}
