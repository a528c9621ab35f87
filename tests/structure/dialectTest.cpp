// The dialect of the layer and the client, where clang-tidy cannot hold it. The first tests show
// that it can be broken.
#include "structure/dialect.h"

#include <gmock/gmock.h>

#include "structure/sourceTree.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Dialect, CodeIsWhatIsNeitherCommentNorText) {
    EXPECT_EQ(codeOf("a; // free(b)\nc /* d\n */ e"), "a; \nc \n e");
    EXPECT_EQ(codeOf(R"x(f("free(\"b\")", 'c', 1'000))x"), R"x(f("", "", 1'000))x");
    EXPECT_EQ(codeOf("R\"(free(\"b\"))\" // c"), "\"\" ");
}

TEST(Dialect, FindsCallsOfTheCLibraryWithoutStd) {
    EXPECT_THAT(bareLibraryCalls("x = strlen(y) + ::free(z);\nreturn snprintf(a);"),
                ElementsAre("strlen", "::free", "snprintf"));
}

TEST(Dialect, LeavesAloneWhatOnlyResemblesTheCLibrary) {
    EXPECT_THAT(bareLibraryCalls("std::strlen(a); b.free(); c->exit(); _exit(1); timed(d); "
                                 "Timer::abs(e); mystrlen(f); close(g); fprintf;"),
                IsEmpty());
}

TEST(Dialect, FindsEnumeratorsWithThePrefixOfConstants) {
    EXPECT_THAT(prefixedEnumerators("enum class Event : int { none, kGone, seen = kBase };\n"
                                    "enum { kFirst = 1 };\nvoid f(enum Event e) { kLimit; }"),
                ElementsAre("kGone", "kFirst"));
}

TEST(Dialect, FindsValuesInTheBracketsOfSizeof) {
    EXPECT_THAT(bracketedValues("sizeof(count) + sizeof(*first) + sizeof(a.b)"),
                ElementsAre("sizeof(count", "sizeof(*first", "sizeof(a.b"));
}

TEST(Dialect, LeavesTypesInTheBracketsOfSizeof) {
    EXPECT_THAT(bracketedValues("sizeof(int) sizeof(const char*) sizeof(uint32_t) sizeof(Record) "
                                "sizeof(Record::field) sizeof(std::size_t) sizeof(\"\") sizeof a "
                                "sizeof(iovec) sizeof(struct stat) sizeof(unsigned char)"),
                IsEmpty());
}

// Headers under the platform's own names are written as the platform's are.
std::vector<SourceFile> dialectSources() {
    std::vector<SourceFile> files;
    for (const char* folder : {"platform/linux", "client"}) {
        for (const SourceFile& file : readSources(folder)) {
            if (file.path.rfind("include/", 0) != 0)
                files.push_back(file);
        }
    }
    return files;
}

TEST(Structure, TheLayerAndTheClientWriteStdBeforeTheCLibrary) {
    for (const SourceFile& file : dialectSources())
        EXPECT_THAT(bareLibraryCalls(codeOf(file.text)), IsEmpty()) << file.path;
}

TEST(Structure, TheLayerAndTheClientHavePlainEnumerators) {
    for (const SourceFile& file : dialectSources())
        EXPECT_THAT(prefixedEnumerators(codeOf(file.text)), IsEmpty()) << file.path;
}

TEST(Structure, TheLayerAndTheClientBracketOnlyTypesAfterSizeof) {
    for (const SourceFile& file : dialectSources())
        EXPECT_THAT(bracketedValues(codeOf(file.text)), IsEmpty()) << file.path;
}

TEST(Dialect, IsLookedForInManyFiles) {
    EXPECT_GE(dialectSources().size(), 100u);
}

}  // namespace
