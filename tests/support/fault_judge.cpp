#include "support/fault_judge.h"

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "support/texts.h"

namespace support {

namespace {

using orkan::kx_site;
using std::string;
using Texts = std::set<string>;

const string kNoMemory = "☆ Failed to allocate []KB memory!";
const string kDefaultPool = "☆ Failed to allocate []KB memory! Allocating default memory []KB.";
const string kSmallestPool = "☆ Failed to allocate []KB memory! Allocating minimum memory []KB.";
const string kUseTemporary = "☆ Insufficient memory, using temporary files for sorting.";
const string kUseDefault = "☆ Using default memory []KB.";
const string kNoErrorFile = "☆ Cannot create error file []!";

/// Told on the way; the run goes on.
const Texts kNotices = {kDefaultPool, kSmallestPool, kUseTemporary, kUseDefault};

/// Which part of the run has failed, behind the cause.
const Texts kSummaries = {
    "☆ Error occurred during argument processing!", "☆ Error occurred during input file split sort!",
    "☆ Error occurred during temporary file merge sort!", "☆ File merge sort failed!", "☆ Standard input sort failed!"};
const string kSyntaxError = "☆ Command syntax error!"; // alone where the list of inputs cannot grow

const Texts kUndeleted = {"☆ Failed to delete temporary file []!", "☆一時ファイル[]は削除できませんでした！"};
const Texts kNoFile = {"☆ Cannot open input file []!",
                       "☆ Failed to create temporary file []!",
                       "☆ Cannot open temporary file []!",
                       "☆ Cannot create output file []!",
                       "☆ Cannot create output file []! Please check permissions.",
                       kNoErrorFile,
                       "☆エラーファイル[]は作成できません！"};
const Texts kNoBuffer = {"☆ Failed to set input buffer!",  "☆ Failed to set temporary file buffer!",
                         "☆ Failed to set output buffer!", "☆出力バッファの設定はできません！",
                         "☆ Failed to set error buffer!",  "☆エラーバッファの設定はできません！"};
const Texts kUnwritten = {"☆ Error occurred while writing to output file during split sort!",
                          "☆ Error occurred while writing output file []!",
                          "☆ Error occurred while writing to standard output!",
                          "☆ Error occurred while writing error file []!"};
const Texts kUnread = {"☆ Error occurred while reading input file []!",
                       "☆入力ファイル[]の読み込み中にエラーが発生しました！",
                       "☆ Error occurred while reading CSV file header!",
                       "☆ Error occurred while reading standard input!",
                       "☆ Error occurred while reading input file during split sort!",
                       "☆ Error occurred while reading input file during merge sort!",
                       "☆一時ファイルの読み込み中にエラーが発生しました！"};
const Texts kUnsought = {"☆ fseek operation on temporary file failed!", "☆一時ファイルに対するfseek操作は失敗しました!",
                         "☆ Error occurred while reading input file during split sort!",
                         "☆ Error occurred while reading CSV file header!"};
const Texts kNoRoom = {kNoMemory,
                       "☆[]KBメモリの割当は失敗しました、ソートできませんでした！",
                       "☆ Failed to allocate []KB memory, sorting cannot be performed!",
                       "☆ Failed to allocate memory for the options!",
                       "☆ Failed to allocate [] bytes for block information management! ",
                       "☆ Failed to extend block information management memory []! ",
                       "☆ In-memory stable sort failed!",
                       "☆ Failed to call kx_list_msort function during split sort (kx_stdin)! ",
                       "☆ Failed to call kx_list_msort function during split sort (kx_splitSortFile)! ",
                       "☆ Failed to allocate []KB memory for split sort buffer! ",
                       "☆ Failed to allocate []KB memory for merge sort buffer! ",
                       "☆ Failed to allocate []KB memory for block buffer #!",
                       "☆ブロックバッファ#の[]KBメモリの割当は失敗しました!",
                       "☆出力バッファ[]KBメモリの割当は失敗しました！ "};

Texts joined(Texts all, const Texts &more) {
    all.insert(more.begin(), more.end());
    return all;
}

/// What a refusal at each site may cause. Whatever is missing here does no harm when it is refused.
const std::map<kx_site, Texts> kCauses = {
    {kx_site::open, kNoFile},
    {kx_site::duplicate, kNoFile},
    {kx_site::stat,
     joined(joined(kNoFile, kUndeleted),
            {"☆ Failed to stat input file # []!", "☆ Error occurred while writing to standard output!",
             "☆ Error occurred while reading input file []!", "☆入力ファイル[]の読み込み中にエラーが発生しました！"})},
    {kx_site::truncate, {"☆ Failed to create temporary file []!"}},
    {kx_site::mode, {"☆ Failed to create temporary file []!"}},
    {kx_site::access, {"☆ Temporary folder [] does not exist or insufficient permissions!"}},
    {kx_site::setvbuf, kNoBuffer},
    {kx_site::read, kUnread},
    {kx_site::write, kUnwritten},
    {kx_site::close, kUnwritten},
    {kx_site::seek, kUnsought},
    {kx_site::position, {"☆ Error occurred while reading input file during split sort!"}},
    {kx_site::unlink, kUndeleted},
    {kx_site::allocate, joined(kNoRoom, kNoBuffer)},
};

Texts causes_of(kx_site site, Refusal refusal) {
    if (refusal == Refusal::everything) {
        Texts all;
        for (const auto &[any, texts] : kCauses) {
            all.insert(texts.begin(), texts.end());
        }
        return all;
    }
    const auto it = kCauses.find(site);
    return it != kCauses.end() ? it->second : Texts{};
}

bool contains(const std::vector<string> &lines, const string &line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

bool starts_and_ends(const string &messages, const string &end) {
    const bool long_enough = messages.size() >= kStart.size() + end.size();
    return long_enough && messages.compare(0, kStart.size(), kStart) == 0 &&
           messages.compare(messages.size() - end.size(), end.size(), end) == 0;
}

/// The marked lines between the first and the last.
std::vector<string> inner_lines(const string &messages) {
    std::vector<string> lines = marked_lines(messages);
    return lines.size() < 2 ? lines : std::vector<string>(lines.begin() + 1, lines.end() - 1);
}

} // namespace

const char *name_of(kx_site site) {
    static const char *const names[] = {"open",    "read",      "write",    "seek",   "close", "unlink",
                                        "setvbuf", "stat",      "allocate", "access", "lock",  "truncate",
                                        "reserve", "duplicate", "position", "mode"};
    return names[static_cast<int>(site)];
}

std::vector<string> marked_lines(const string &messages) {
    static const std::regex name("\\[[^\\]]*\\]"), number("[0-9]+");
    std::vector<string> lines;
    for (std::size_t at = 0; at < messages.size();) {
        const std::size_t end = std::min(messages.find('\n', at), messages.size());
        const string line = messages.substr(at, end - at);
        if (line.compare(0, 3, "☆") == 0) {
            lines.push_back(std::regex_replace(std::regex_replace(line, name, "[]"), number, "#"));
        }
        at = end + 1;
    }
    return lines;
}

string wrong_in_failure(const string &messages, kx_site site, Refusal refusal) {
    if (!starts_and_ends(messages, kFailed)) {
        return "fails without the frame of a failure";
    }
    const Texts causes = causes_of(site, refusal);
    std::size_t found = 0;
    bool syntax = false;
    for (const string &line : inner_lines(messages)) {
        const bool is_cause = causes.contains(line);
        found += is_cause ? 1 : 0;
        syntax = syntax || line == kSyntaxError;
        if (!is_cause && kNotices.count(line) + kSummaries.count(line) + kUndeleted.count(line) == 0 &&
            line != kSyntaxError) {
            return "fails with a message that does not belong here: " + line;
        }
    }
    const bool inputs_not_listed = syntax && found == 0;
    const bool enough = refusal == Refusal::once ? found == 1 : found >= 1;
    return enough || inputs_not_listed ? "" : "fails with " + std::to_string(found) + " causes";
}

string wrong_in_success(const string &messages, bool error_file_may_fail) {
    if (!starts_and_ends(messages, kEnd)) {
        return "succeeds without the frame of a success";
    }
    const std::vector<string> lines = inner_lines(messages);
    for (const string &line : lines) {
        const bool want_of_memory = line == kNoMemory && contains(lines, kUseTemporary);
        if (!kNotices.contains(line) && !want_of_memory && !(line == kNoErrorFile && error_file_may_fail)) {
            return "succeeds with a message that does not belong here: " + line;
        }
    }
    return "";
}

bool misses_error_file(const string &messages) { return contains(marked_lines(messages), kNoErrorFile); }

bool may_leave_temporary_file(const string &messages) {
    const std::vector<string> lines = marked_lines(messages);
    const bool undeleted =
        std::any_of(kUndeleted.begin(), kUndeleted.end(), [&](const string &text) { return contains(lines, text); });
    return undeleted || contains(lines, "☆ Failed to set temporary file buffer!") ||
           contains(lines, "☆ Cannot open temporary file []!");
}

bool cannot_make_temporary_file(const string &messages) {
    return contains(marked_lines(messages), "☆ Failed to create temporary file []!");
}

bool has_smallest_pool(const string &messages) { return contains(marked_lines(messages), kSmallestPool); }

} // namespace support
