// moving.cpp: what remains of a sort whose order is known: prints the seconds that moving the records takes. No sort by
// one thread that moves them in these ways takes less.
//
// usage: moving --format fixed|lines|csv [--length BYTES] [--key BYTES --copies N] [--sorted | --reversed]
//               [--file | --merge] OUTPUT INPUT...
//
// The input is mapped, and the records are gathered in random order (or backwards, or in one piece) into a buffer and
// written. With --copies every key is there N times and one of each is wanted: each record's first BYTES (0: all) are
// read, and each N-th record is written. With --file the input is copied to a temporary file, and that to the output,
// without gathering. With --merge the inputs' records are taken from one or the other by chance.
//
// Where the records lie is looked up before the clock starts. The output is a permutation, not sorted.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t kBuffer = std::size_t{640} << 10;
constexpr std::size_t kAhead = 16; // records asked of the memory system before they are copied
constexpr std::size_t kCacheLine = 64;
constexpr std::size_t kHugePage = std::size_t{2} << 20;

struct place {
    std::uint64_t offset = 0;
    std::uint32_t bytes = 0;
};

struct question {
    std::string format;
    std::size_t length = 0;
    std::size_t key = 0;
    std::size_t copies = 1;
    bool sorted = false;
    bool reversed = false;
    bool file = false;
    bool merge = false;
    std::string output;
    std::vector<std::string> inputs;
};

[[noreturn]] void stop(const char *what) {
    std::perror(what);
    std::exit(1);
}

int opened(const std::string &path, int flags) {
    const int file = open(path.c_str(), flags, 0644);
    if (file < 0) {
        stop(path.c_str());
    }
    return file;
}

// All pages at once, at a huge page, as the command maps its input.
struct mapping {
    explicit mapping(const std::string &path) : file(opened(path, O_RDONLY)) {
        struct stat status {};
        if (fstat(file, &status) != 0) {
            stop(path.c_str());
        }
        bytes = static_cast<std::size_t>(status.st_size);
        reserved = bytes + kHugePage;
        space = static_cast<char *>(mmap(nullptr, reserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        const auto address = reinterpret_cast<std::uintptr_t>(space);
        char *aligned = space + (kHugePage - address % kHugePage) % kHugePage;
        data = static_cast<char *>(mmap(aligned, bytes, PROT_READ, MAP_PRIVATE | MAP_FIXED | MAP_POPULATE, file, 0));
        if (data == MAP_FAILED) {
            stop("mmap");
        }
    }
    mapping(const mapping &) = delete;
    mapping &operator=(const mapping &) = delete;
    ~mapping() {
        munmap(space, reserved);
        close(file);
    }

    int file;
    std::size_t bytes = 0;
    std::size_t reserved = 0;
    char *space = nullptr;
    const char *data = nullptr;
};

std::vector<place> places_in(const question &asked, const mapping &input) {
    std::vector<place> places;
    const bool quotes = asked.format == "csv";
    bool quoted = false;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < input.bytes; ++at) {
        const char byte = input.data[at];
        quoted ^= quotes && byte == '"';
        const bool ends = asked.length > 0 ? at + 1 - begin == asked.length : byte == '\n' && !quoted;
        if (ends || at + 1 == input.bytes) {
            places.push_back({begin, static_cast<std::uint32_t>(at + 1 - begin)});
            begin = at + 1;
        }
    }
    return places;
}

class writer {
  public:
    explicit writer(const std::string &path) : file_(opened(path, O_RDWR | O_CREAT | O_TRUNC)) {}
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;
    ~writer() {
        flush();
        close(file_);
    }

    void put(const char *record, std::size_t bytes) {
        if (bytes > kBuffer - used_) {
            flush();
        }
        std::memcpy(&buffer_[used_], record, bytes);
        used_ += bytes;
    }

    void put_all(const char *data, std::size_t bytes) const {
        while (bytes > 0) {
            const ssize_t written = write(file_, data, bytes);
            if (written <= 0) {
                stop("write");
            }
            data += written;
            bytes -= static_cast<std::size_t>(written);
        }
    }

    void flush() {
        put_all(buffer_.get(), used_);
        used_ = 0;
    }

    int file() const { return file_; }

  private:
    int file_;
    std::size_t used_ = 0;
    std::unique_ptr<char[]> buffer_{new char[kBuffer]};
};

void ask_for(const char *record, std::size_t bytes) {
    for (std::size_t at = 0; at < bytes; at += kCacheLine) {
        __builtin_prefetch(record + at);
    }
    __builtin_prefetch(record + bytes - 1);
}

std::uint64_t keys_read(const question &asked, const std::vector<place> &records, const mapping &input) {
    std::uint64_t sum = 0;
    for (const place &record : records) {
        const std::size_t bytes = asked.key > 0 ? asked.key : record.bytes;
        for (std::size_t at = 0; at + sizeof(sum) <= bytes; at += sizeof(sum)) {
            std::uint64_t word = 0;
            std::memcpy(&word, input.data + record.offset + at, sizeof(word));
            sum += word;
        }
    }
    return sum;
}

void gather(const std::vector<place> &order, const mapping &input, writer &output) {
    for (std::size_t at = 0; at < order.size(); ++at) {
        if (at + kAhead < order.size()) {
            ask_for(input.data + order[at + kAhead].offset, order[at + kAhead].bytes);
        }
        output.put(input.data + order[at].offset, order[at].bytes);
    }
}

std::vector<place> in_order(const question &asked, const std::vector<place> &records) {
    std::vector<place> order;
    for (std::size_t at = 0; at < records.size(); at += asked.copies) {
        order.push_back(records[at]);
    }
    if (asked.reversed) {
        std::reverse(order.begin(), order.end());
    } else if (!asked.sorted) {
        std::shuffle(order.begin(), order.end(), std::mt19937_64{1});
    }
    return order;
}

class stopwatch {
  public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count(); }

  private:
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

double in_memory(const question &asked) {
    std::vector<place> records;
    {
        const mapping input(asked.inputs.front());
        records = places_in(asked, input);
    }
    const std::vector<place> order = in_order(asked, records);
    const stopwatch watch;
    {
        const mapping input(asked.inputs.front());
        if (asked.copies > 1) {
            const volatile std::uint64_t used = keys_read(asked, records, input);
            static_cast<void>(used);
        }
        writer output(asked.output);
        if (asked.sorted) {
            output.put_all(input.data, input.bytes);
        } else {
            gather(order, input, output);
        }
    }
    return watch.seconds();
}

void copied(int from, const writer &to) {
    const std::unique_ptr<char[]> buffer(new char[kBuffer]);
    for (ssize_t got = 1; got > 0;) {
        got = read(from, buffer.get(), kBuffer);
        if (got < 0) {
            stop("read");
        }
        to.put_all(buffer.get(), static_cast<std::size_t>(got));
    }
}

double through_a_file(const question &asked) {
    const std::string temporary = asked.output + ".temporary";
    const stopwatch watch;
    {
        const writer chunks(temporary);
        const int input = opened(asked.inputs.front(), O_RDONLY);
        copied(input, chunks);
        const writer output(asked.output);
        lseek(chunks.file(), 0, SEEK_SET);
        copied(chunks.file(), output);
        unlink(temporary.c_str());
        close(input);
    }
    return watch.seconds();
}

double merged(const question &asked) {
    std::vector<std::vector<place>> records;
    for (const std::string &path : asked.inputs) {
        records.push_back(places_in(asked, mapping(path)));
    }
    std::vector<std::uint8_t> turns;
    for (std::size_t input = 0; input < records.size(); ++input) {
        turns.insert(turns.end(), records[input].size(), static_cast<std::uint8_t>(input));
    }
    std::shuffle(turns.begin(), turns.end(), std::mt19937_64{1});
    const stopwatch watch;
    {
        std::vector<std::unique_ptr<mapping>> inputs;
        for (const std::string &path : asked.inputs) {
            inputs.push_back(std::make_unique<mapping>(path));
        }
        std::vector<std::size_t> next(inputs.size());
        writer output(asked.output);
        for (const std::uint8_t turn : turns) {
            const place &record = records[turn][next[turn]++];
            output.put(inputs[turn]->data + record.offset, record.bytes);
        }
    }
    return watch.seconds();
}

question read_arguments(int argc, char **argv) {
    question asked;
    const std::map<std::string, bool *> flags = {{"--sorted", &asked.sorted},
                                                 {"--reversed", &asked.reversed},
                                                 {"--file", &asked.file},
                                                 {"--merge", &asked.merge}};
    const std::map<std::string, std::size_t *> numbers = {
        {"--length", &asked.length}, {"--key", &asked.key}, {"--copies", &asked.copies}};
    int at = 1;
    for (; at + 1 < argc && argv[at][0] == '-'; ++at) {
        const std::string name = argv[at];
        if (flags.count(name) > 0) {
            *flags.at(name) = true;
        } else if (numbers.count(name) > 0) {
            *numbers.at(name) = std::strtoull(argv[++at], nullptr, 10);
        } else if (name == "--format") {
            asked.format = argv[++at];
        } else {
            break;
        }
    }
    if (argc - at < 2 || argv[at][0] == '-' || asked.format.empty()) {
        std::fputs("usage: moving --format FORMAT [OPTION]... OUTPUT INPUT...\n", stderr);
        std::exit(1);
    }
    asked.output = argv[at];
    asked.inputs.assign(argv + at + 1, argv + argc);
    return asked;
}

} // namespace

int main(int argc, char **argv) {
    const question asked = read_arguments(argc, argv);
    const double seconds = asked.merge ? merged(asked) : asked.file ? through_a_file(asked) : in_memory(asked);
    std::printf("%.6f\n", seconds);
    return 0;
}
