// The umbrella header: a host that includes <oxGeom/oxGeom.h> reaches every
// public header of the project, so none may be left out of it.

#include <oxGeom/oxGeom.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

TEST(oxGeomHeader, includesEveryPublicHeader)
{
    const fs::path source(TRELM_SOURCE_DIR);
    std::ifstream file(source / "include/oxGeom/oxGeom.h");
    std::stringstream umbrella;
    umbrella << file.rdbuf();
    ASSERT_FALSE(umbrella.str().empty());

    std::vector<std::string> missing;
    int headers = 0;
    for (const fs::path& root : {source / "include", source / "model/include"})
        for (const auto& entry : fs::recursive_directory_iterator(root))
        {
            if (entry.path().extension() != ".h")
                continue;
            const std::string name = fs::relative(entry.path(), root).generic_string();
            if (name == "oxGeom/oxGeom.h")
                continue;
            ++headers;
            if (umbrella.str().find("#include <" + name + ">") == std::string::npos)
                missing.push_back(name);
        }
    EXPECT_GT(headers, 20);
    EXPECT_TRUE(missing.empty()) << "not in oxGeom.h: " << ::testing::PrintToString(missing);
}
