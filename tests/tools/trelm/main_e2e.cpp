// The trelm program as a whole: help and version, exit statuses, one-line messages for bad
// input files and bad arguments, no output left behind by a failed or interrupted command.

#include "trelmRunner.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace
{
using namespace clitest;

const std::vector<std::string> subcommands = {"info",      "weld",    "clean",   "normals",
                                              "curvature", "closest", "raycast", "render",
                                              "flatten",   "pack",    "merge",   "convert"};

// A failed command says what is wrong on exactly one line, in the tool's voice.
void expectOneLineError(const RunResult& run, const std::string& mentions)
{
    const std::vector<std::string> errorLines = lines(run.err);
    ASSERT_EQ(errorLines.size(), 1u) << run.err;
    EXPECT_EQ(errorLines[0].rfind("trelm: ", 0), 0u) << errorLines[0];
    EXPECT_NE(errorLines[0].find(mentions), std::string::npos) << errorLines[0];
    EXPECT_TRUE(run.out.empty()) << run.out;
}

TEST(trelmMain, everySubcommandHasHelpWithAnExample)
{
    for (const std::string& name : subcommands)
    {
        const RunResult help = runTrelm({name, "--help"});
        EXPECT_EQ(help.status, 0) << name;
        EXPECT_NE(help.out.find("Example: trelm " + name), std::string::npos) << help.out;
    }
    const RunResult top = runTrelm({"--help"});
    EXPECT_EQ(top.status, 0);
    for (const std::string& name : subcommands)
        EXPECT_NE(top.out.find(name), std::string::npos) << name;
    EXPECT_NE(top.out.find("Exit status"), std::string::npos);

    const RunResult version = runTrelm({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("trelm ", 0), 0u) << version.out;
}

TEST(trelmMain, badArgumentsExitOneWithOneLine)
{
    expectOneLineError(runTrelm({}), "subcommand");
    expectOneLineError(runTrelm({"frobnicate"}), "frobnicate");
    expectOneLineError(runTrelm({"info"}), "mesh");
    expectOneLineError(runTrelm({"--threads", "0", "info", bunnyPath()}), "threads");
    expectOneLineError(runTrelm({"curvature", bunnyPath(), "--kind", "sharp"}), "sharp");
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"render", bunnyPath(), "-o", "x.png", "--size", "0x5"},
          std::vector<std::string>{"closest", bunnyPath(), "1,2"},
          std::vector<std::string>{"raycast", bunnyPath(), "1,2,3,4,5,nan"}})
    {
        const RunResult run = runTrelm(args);
        EXPECT_EQ(run.status, 1) << args[0];
        expectOneLineError(run, "");
    }
}

TEST(trelmMain, unreadableInputExitsTwoWithOneLineNamingTheFile)
{
    ScratchDir dir;
    std::vector<std::string> bad = {dir.path("missing.ply")};
    // Truncated copies of the bunny: inside the header, inside the vertices, inside the faces.
    const std::string bunny = readFile(bunnyPath());
    for (const std::size_t length : {std::size_t(40), std::size_t(1000), bunny.size() - 7})
    {
        bad.push_back(dir.path("cut" + std::to_string(length) + ".ply"));
        writeFile(bad.back(), bunny.substr(0, length));
    }
    writeFile(dir.path("garbage.obj"), "v 1 2 3\nf 1 2 x\n");
    bad.push_back(dir.path("garbage.obj"));
    for (const char* relative :
         {"invalid/empty.obj", "invalid/empty.off", "invalid/empty.ply", "invalid/malformed.obj",
          "invalid/malformed2.obj", "invalid/OutOfMemory.off", "OFF/invalid.off"})
        if (!assimpModel(relative).empty())
            bad.push_back(assimpModel(relative));

    for (const std::string& path : bad)
    {
        const RunResult run = runTrelm({"info", path});
        EXPECT_EQ(run.status, 2) << path;
        expectOneLineError(run, path);
    }
    // Commands that write refuse before writing anything.
    for (const char* command : {"convert", "render", "flatten"})
    {
        const std::string out = dir.path(std::string("out.") + (command[0] == 'r' ? "png" : "ply"));
        const RunResult run = runTrelm({command, bad[2], "-o", out});
        EXPECT_EQ(run.status, 2) << command;
        expectOneLineError(run, bad[2]);
        EXPECT_FALSE(fileExists(out)) << command;
    }
}

TEST(trelmMain, failedWriteExitsOneAndLeavesNoFile)
{
    ScratchDir dir;
    const std::string nowhere = dir.path("no-such-dir/out.ply");
    const RunResult run = runTrelm({"convert", bunnyPath(), "-o", nowhere});
    EXPECT_EQ(run.status, 1);
    expectOneLineError(run, nowhere);

    const RunResult unknown = runTrelm({"weld", bunnyPath(), "-o", dir.path("out.xyz")});
    EXPECT_EQ(unknown.status, 1);
    expectOneLineError(unknown, "out.xyz");
    EXPECT_TRUE(dir.files().empty());
}

TEST(trelmMain, ctrlCStopsARenderWithStatus130AndNoPicture)
{
    ScratchDir dir;
    const pid_t pid = startTrelm({"render", bunnyPath(), "-o", dir.path("big.png"), "--size",
                                  "4000x3000", "--samples", "1024", "--threads", "2"},
                                 dir.path("out"), dir.path("err"));
    // Long enough for the tool to read the mesh and start tracing, far shorter than the work.
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    kill(pid, SIGINT);
    const RunResult run = waitTrelm(pid);
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(lines(readFile(dir.path("err"))).size(), 1u) << readFile(dir.path("err"));
    EXPECT_FALSE(fileExists(dir.path("big.png")));
    for (const std::string& name : dir.files())
        EXPECT_TRUE(name == "out" || name == "err") << name;
}
}  // namespace
