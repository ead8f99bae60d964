// kx_same_file_test.cpp: which paths lead to the same file, and which lead nowhere.
#include <unistd.h>

#include <string>

#include "support/fault.h"
#include "support/stream_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class SameFile : public testing::Test {
  protected:
    SameFile() {
        box.write("file", "x");
        box.write("other", "x");
    }

    /// Both ways round, which must agree.
    bool same(const char *a, const char *b) {
        const bool result = kx_same_file(a, b);
        EXPECT_EQ(kx_same_file(b, a), result);
        return result;
    }

    Box box;
    const string file = box.path("file"), other = box.path("other");
};

TEST_F(SameFile, IsFoundByAnyPath) {
    ASSERT_EQ(link(file.c_str(), box.path("hard").c_str()), 0);
    ASSERT_EQ(symlink("file", box.path("soft").c_str()), 0);
    for (const char *name : {"file", "./file", "tmp/../file", "hard", "soft"}) {
        EXPECT_TRUE(same(file.c_str(), box.path(name).c_str())) << name;
        EXPECT_FALSE(same(other.c_str(), box.path(name).c_str())) << name;
    }
}

TEST_F(SameFile, IsNowhereWithoutAPath) {
    EXPECT_FALSE(same(file.c_str(), nullptr));
    EXPECT_FALSE(same(nullptr, nullptr));
    const Outcome o =
        in_child([] { return kx_is_standard_input(nullptr)    ? 1
                             : kx_is_standard_output(nullptr) ? 2
                                                              : kAllWell; },
                 {.input = "x"});
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(SameFile, IsNowhereBelowAFileOrAMissingFolder) {
    for (const string &path : {file + "/below", box.path("no/folder"), box.path("missing")}) {
        EXPECT_FALSE(same(file.c_str(), path.c_str())) << path;
    }
}

TEST_F(SameFile, IsAssumedWhereItCannotBeTold) {
    for (const int call : {1, 2}) { // that asks about the second path, or about the first
        const Fault fault({.site = kx_site::stat, .call = call});
        EXPECT_TRUE(kx_same_file(file.c_str(), other.c_str())) << call;
    }
}

} // namespace
