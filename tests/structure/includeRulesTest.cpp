// The tree against its own rules. The first tests show that the rules can be broken.
#include "structure/includeRules.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "structure/sourceTree.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

const char* const kSample =
    "- low: first, second.h, third\n"
    "- high: top\n"
    "\n"
    "| File | May include |\n"
    "|---|---|\n"
    "| low/* | nothing of ours |\n"
    "| high/top, high/other.h | low/first, wide (a part of it, nothing else) |\n"
    "\n"
    "| low/first | high |\n";

TEST(IncludeRules, OfAFileAreItsRoomsEarlierFilesAndItsRow) {
    const IncludeRules rules = parseIncludeRules(kSample);
    EXPECT_TRUE(mayInclude(rules, "low/second.h", "low/first.h"));
    EXPECT_TRUE(mayInclude(rules, "low/third.cpp", "low/third.h"));
    EXPECT_TRUE(mayInclude(rules, "high/top.cpp", "low/first.h"));
    EXPECT_TRUE(mayInclude(rules, "high/top.cpp", "wide/anything.h"));
    EXPECT_TRUE(mayInclude(rules, "high/other.h", "low/first.h"));
}

TEST(IncludeRules, RefuseEverythingElse) {
    const IncludeRules rules = parseIncludeRules(kSample);
    EXPECT_FALSE(mayInclude(rules, "low/first.cpp", "low/second.h"));
    EXPECT_FALSE(mayInclude(rules, "low/second.h", "high/top.h"));
    EXPECT_FALSE(mayInclude(rules, "low/first.cpp", "high/top.h"));
    EXPECT_FALSE(mayInclude(rules, "high/top.cpp", "low/second.h"));
    EXPECT_FALSE(mayInclude(rules, "high/unlisted.cpp", "low/first.h"));
}

TEST(IncludeRules, OfASectionEndWhereTheNextBegins) {
    const std::string text =
        "## One\n\n- low: first\n\n### Two\n\n- high: top\n\n## Three\n- x: y\n";
    EXPECT_EQ(parseIncludeRules(sectionOf(text, "## One")).roomOrder,
              std::vector<std::string>{"low"});
    EXPECT_EQ(parseIncludeRules(sectionOf(text, "### Two")).roomOrder,
              std::vector<std::string>{"high"});
    EXPECT_EQ(sectionOf(text, "### Four"), "");
}

TEST(SourceTree, TellsTheKindsOfIncludesApart) {
    const std::string text =
        "#include \"a/b.h\"\n  #  include <c/d.h>\n#include MACRO_H\n// #include <no.h>\n"
        "#ifdef __linux__\n#elif 1\n#endif\n#if X\n";
    EXPECT_THAT(quotedIncludes(text), ElementsAre("a/b.h"));
    EXPECT_THAT(angleIncludes(text), ElementsAre("c/d.h"));
    EXPECT_THAT(macroIncludes(text), ElementsAre("MACRO_H"));
    EXPECT_THAT(conditionals(text), ElementsAre("#ifdef __linux__", "#elif 1", "#if X"));
}

TEST(SourceTree, HasFilesToCheck) {
    EXPECT_GE(readSources("src").size(), 30u);
    EXPECT_GE(readSources("platform/linux").size(), 10u);
    EXPECT_GE(readSources("client").size(), 2u);
}

// A part of the tree that has rules of its own.
struct Wing {
    const char* folder;
    const char* heading;
};

void PrintTo(const Wing& wing, std::ostream* out) {
    *out << wing.folder;
}

constexpr Wing kService = {"src", "### In the service"};
constexpr Wing kLayer = {"platform/linux", "### In the layer"};

class StructureOf : public testing::TestWithParam<Wing> {
protected:
    static std::vector<SourceFile> filesOf(const Wing& wing) {
        std::vector<SourceFile> files = readSources(wing.folder);
        // The platform's own header names follow the platform's rules.
        const auto isInterface = [](const SourceFile& file) {
            return file.path.rfind("include/", 0) == 0;
        };
        files.erase(std::remove_if(files.begin(), files.end(), isInterface), files.end());
        return files;
    }

    const std::vector<SourceFile> files = filesOf(GetParam());
    const IncludeRules rules =
        parseIncludeRules(sectionOf(readFile("docs/architecture.md"), GetParam().heading));
};

TEST_P(StructureOf, EveryFileHasItsPlaceInOrderAndTable) {
    for (const SourceFile& file : files) {
        const std::string name = withoutEnding(file.path);
        const size_t slash = name.find('/');
        const auto order = rules.fileOrder.find(name.substr(0, slash));
        ASSERT_NE(order, rules.fileOrder.end()) << file.path;
        EXPECT_THAT(order->second, Contains(name.substr(slash + 1)));
        EXPECT_EQ(rules.reach.count(name), 1u) << file.path;
    }
}

TEST_P(StructureOf, EveryRuleIsOfAFileThatThereIs) {
    std::set<std::string> present;
    for (const SourceFile& file : files)
        present.insert(withoutEnding(file.path));
    EXPECT_EQ(rules.reach.size(), present.size());
    for (const auto& [name, places] : rules.reach)
        EXPECT_EQ(present.count(name), 1u) << name;
}

TEST_P(StructureOf, EveryFileIncludesOfOursOnlyWhatTheTableAllows) {
    for (const SourceFile& file : files) {
        for (const std::string& included : quotedIncludes(file.text))
            EXPECT_TRUE(mayInclude(rules, file.path, included))
                << file.path << " includes " << included;
    }
}

INSTANTIATE_TEST_SUITE_P(Wings, StructureOf, testing::Values(kService, kLayer),
                         [](const auto& wing) {
                             return std::string(wing.param.folder == kService.folder ? "Service"
                                                                                     : "Layer");
                         });

// With the order of files inside of a room, this leaves no circle.
TEST(Structure, ARoomOfTheLayerReachesOnlyEarlierRooms) {
    const IncludeRules rules =
        parseIncludeRules(sectionOf(readFile("docs/architecture.md"), kLayer.heading));
    const auto positionOf = [&rules](const std::string& path) {
        const std::string room = path.substr(0, path.find('/'));
        return std::find(rules.roomOrder.begin(), rules.roomOrder.end(), room);
    };
    EXPECT_GE(rules.roomOrder.size(), 10u);
    for (const auto& [file, places] : rules.reach) {
        for (const std::string& place : places)
            EXPECT_LT(positionOf(place), positionOf(file)) << file << " may include " << place;
    }
}

TEST(Structure, EachSourceIncludesItsOwnHeaderFirst) {
    std::set<std::string> present;
    const std::vector<SourceFile> files = readSources("src");
    for (const SourceFile& file : files)
        present.insert(file.path);
    for (const SourceFile& file : files) {
        const std::string header = withoutEnding(file.path) + ".h";
        if (header == file.path || present.count(header) == 0)
            continue;
        EXPECT_EQ(file.text.find("#include"), file.text.find("#include \"" + header + "\""))
            << file.path;
    }
}

// What an SDK of the platform, EGL, OpenGL ES 2 and FreeType have.
const std::set<std::string> kPlatformHeaders = {
    "EGL/egl.h",    "GLES2/gl2.h",     "KD/kd.h",        "devctl.h",       "ft2build.h",
    "img/img.h",    "screen/screen.h", "semaphore.h",    "sys/dcmd_all.h", "sys/dispatch.h",
    "sys/iofunc.h", "sys/iomsg.h",     "sys/neutrino.h", "sys/resmgr.h",   "sys/siginfo.h",
    "sys/stat.h",   "sys/types.h",     "unistd.h",
};

// What the C and C++ libraries have.
const std::set<std::string> kLanguageHeaders = {
    "algorithm", "array",   "cerrno",   "climits", "cmath",    "cstdarg", "cstddef", "cstdint",
    "cstdio",    "cstdlib", "cstring",  "errno.h", "limits.h", "memory",  "new",     "stddef.h",
    "stdint.h",  "stdio.h", "stdlib.h", "string",  "string.h", "time.h",  "utility", "vector",
};

TEST(Structure, TheServiceIncludesNothingThatThePlatformLacks) {
    for (const SourceFile& file : readSources("src")) {
        for (const std::string& included : angleIncludes(file.text))
            EXPECT_TRUE(kPlatformHeaders.count(included) || kLanguageHeaders.count(included))
                << file.path << " includes <" << included << ">";
        for (const std::string& macro : macroIncludes(file.text))
            EXPECT_EQ(macro.rfind("FT_", 0), 0u) << file.path << " includes " << macro;
    }
}

TEST(Structure, TheServiceAsksForNoOperatingSystem) {
    for (const SourceFile& file : readSources("src")) {
        for (const std::string& condition : conditionals(file.text))
            EXPECT_NE(condition.find("__cplusplus"), std::string::npos)
                << file.path << ": " << condition;
    }
}

TEST(Structure, TheLayerNeverIncludesTheService) {
    std::set<std::string> service;
    for (const SourceFile& file : readSources("src"))
        service.insert(file.path);
    for (const SourceFile& file : readSources("platform/linux")) {
        for (const std::string& included : quotedIncludes(file.text))
            EXPECT_EQ(service.count(included), 0u) << file.path << " includes " << included;
    }
}

TEST(Structure, ClientsShareTheProtocolAndNothingElse) {
    std::set<std::string> ours;
    for (const char* folder : {"src", "platform/linux"}) {
        for (const SourceFile& file : readSources(folder))
            ours.insert(file.path);
    }
    for (const SourceFile& file : readSources("client")) {
        for (const std::string& included : quotedIncludes(file.text)) {
            EXPECT_TRUE(ours.count(included) == 0 || included == "console/protocol.h")
                << file.path << " includes " << included;
        }
    }
}

std::string stemOf(const std::string& path) {
    return withoutEnding(path.substr(path.rfind('/') + 1));
}

// A source need not say again what the header of its name says.
TEST(Structure, EveryFileBeginsWithWhatItIsFor) {
    for (const char* folder : {"src", "platform/linux", "client"}) {
        const std::vector<SourceFile> files = readSources(folder);
        std::set<std::string> headers;
        for (const SourceFile& file : files) {
            if (file.path != withoutEnding(file.path) + ".h")
                continue;
            headers.insert(stemOf(file.path));
            EXPECT_EQ(file.text.rfind("//", 0), 0u) << folder << "/" << file.path;
        }
        for (const SourceFile& file : files) {
            if (headers.count(stemOf(file.path)) == 0) {
                EXPECT_EQ(file.text.rfind("//", 0), 0u) << folder << "/" << file.path;
            }
        }
    }
}

TEST(Structure, NoFileIsLongerThanFiveHundredLines) {
    for (const char* folder : {"src", "platform/linux", "client", "tests"}) {
        for (const SourceFile& file : readSources(folder)) {
            const auto lines = std::count(file.text.begin(), file.text.end(), '\n');
            EXPECT_LE(lines, 500) << folder << "/" << file.path;
        }
    }
}

}  // namespace
