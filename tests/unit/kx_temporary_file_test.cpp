// kx_temporary_file_test.cpp: what may stand in the temporary file's place, by direct calls.
#include "kx_io/kx_temporary_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/stream_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class TemporaryStream : public Stream {
  public:
    ~TemporaryStream() override { kx_temporary_file_forget(); }
    TemporaryStream(const TemporaryStream &) = delete;
    TemporaryStream &operator=(const TemporaryStream &) = delete;

  protected:
    TemporaryStream() = default;
};

TEST_F(TemporaryStream, BelowAMissingFolderIsRefused) {
    errno = 0;
    EXPECT_FALSE(kx_temporary_file_create(s, box.path("no/folder").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(s.open);
    EXPECT_EQ(box.files(), "tmp/");
}

// There is nothing to empty in a pipe, and no reason to refuse it for that.
TEST_F(TemporaryStream, ALinkToAPipeThatSomebodyReadsIsFollowed) {
    const string pipe = box.path("pipe"), link = box.path("link");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(symlink("pipe", link.c_str()), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ASSERT_TRUE(kx_temporary_file_create(s, link.c_str()));
    EXPECT_TRUE(put(s, "abc"));
    char bytes[8];
    EXPECT_EQ(read(reader, bytes, sizeof bytes), 3);
    EXPECT_EQ(string(bytes, 3), "abc");
    EXPECT_TRUE(kx_temporary_file_remove(link.c_str()));
    EXPECT_EQ(box.files(), "pipe tmp/") << "the link is removed";
    close(reader);
}

} // namespace
