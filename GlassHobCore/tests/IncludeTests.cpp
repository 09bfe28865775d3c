// The compiler's insides are its own: the folders that use it include its public headers only.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

TEST(Includes, OfTheCompilerAreItsPublicHeaders) {
    const std::set<std::string> open = {"Compiler.h", "Diagnostic.h", "Language.h", "Reflection.h"};
    const std::string begin = "#include \"MSL/";
    std::size_t files = 0;
    for (const char* folder : {"GPU", "GlassHobCore", "GlassHobRender", "GlassHob", "hob"})
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(GLASSHOB_SOURCE_DIR "/" + std::string(folder))) {
            const std::filesystem::path& path = entry.path();
            if (path.extension() != ".cpp" && path.extension() != ".h") continue;
            if (path.string().find("/tests/") != std::string::npos) continue;
            ++files;
            std::ifstream file(path);
            for (std::string line; std::getline(file, line);)
                if (line.starts_with(begin))
                    EXPECT_TRUE(open.contains(line.substr(begin.size(), line.rfind('"') - begin.size())))
                        << path << ": " << line;
        }
    EXPECT_GT(files, 200U);
}
