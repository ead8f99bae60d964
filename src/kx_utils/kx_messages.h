// kx_messages.h: the catalogue: every message of the system, both wordings.
//
// A text with one wording is printed so in every locale; `.japanese_only()` marks a use of a pair that never prints
// its English side. Texts that differ in nothing but their users stand here once.
//
// Elsewhere: the pool's lines (kx_memory/kx_pool_messages.h), the scanner's words (kx_getopt/kx_getopt.cpp), help and
// version (kx_paras/kx_help.cpp), the counter lines of the statistics (orkan/kx_statistics.cpp).
#pragma once

#include "kx_utils/kx_message.h"

namespace orkan::msg {

using Text = const char *;

// --- driver: frame -----------------------------------------------------------------------------------------------
inline constexpr kx_message<> kStartBanner{"☆ orkan start...\n"};
inline constexpr kx_message<> kEndBanner{"☆ orkan end.\n"};
inline constexpr kx_message<> kSortFailed{"\n☆ Sort failed. \n", "\n☆ソートは失敗しました。 \n"};
inline constexpr kx_message<> kSyntaxError{"☆ Command syntax error!\n", "☆コマンドの構文は誤りがあります！\n"};
inline constexpr kx_message<> kArgumentError{"☆ Error occurred during argument processing!\n",
                                             "☆引数処理中にエラーが発生しました！\n"};
inline constexpr kx_message<> kStandardErrorBuffer{"☆ Failed to set stdout buffer!\n",
                                                   "☆標準出力バッファの設定はできません！\n"};

// --- driver: memory ----------------------------------------------------------------------------------------------
inline constexpr kx_message<kx_i64, kx_i64> kTryDefaultMemory{
    "☆ Failed to allocate [%ld]KB memory! Allocating default memory [%ld]KB.\n",
    "☆[%ld]KBメモリの割当は失敗しました！デフォルトなメモリ[%ld]KBを割当します。\n"};
inline constexpr kx_message<kx_i64, kx_i64> kTryMinimumMemory{
    "☆ Failed to allocate [%ld]KB memory! Allocating minimum memory [%ld]KB.\n",
    "☆[%ld]KBメモリの割当は失敗しました！最小メモリ[%ld]KBを割当します。\n"};
inline constexpr kx_message<kx_i64> kNoMemoryNoSort{
    "☆ Failed to allocate [%ld]KB memory, sorting cannot be performed!\n",
    "☆[%ld]KBメモリの割当は失敗しました、ソートできませんでした！\n"};
inline constexpr kx_message<kx_i64, kx_i64> kBelowMinimumMemory{
    "☆ Cannot use memory smaller than minimum [%ld]KB! Allocating minimum memory [%ld]KB.\n",
    "☆最小メモリ[%ld]KBより小さいメモリの利用は出来ません！最小メモリ[%ld]KBを割当します。\n"};
inline constexpr kx_message<kx_i64> kNoMemory{"☆ Failed to allocate [%ld]KB memory!\n",
                                              "☆[%ld]KBメモリの割当は失敗しました！\n"};
inline constexpr kx_message<> kUseTemporaryFiles{"☆ Insufficient memory, using temporary files for sorting.\n",
                                                 "☆メモリ不足の為、一時ファイルを使用してソートします。\n"};
inline constexpr kx_message<kx_i64> kUseDefaultMemory{"☆ Using default memory [%ld]KB.\n",
                                                      "☆デフォルトなメモリ[%ld]KBを使用します。\n"};
inline constexpr kx_message<kx_i64> kMemoryLimit{
    "最大メモリサイズ[%ld]KBを超えたので、デフォルトメモリサイズを使用する。\n"};
inline constexpr kx_message<kx_i64> kMinimumMemory{"最小メモリサイズ[%ld]KBを使用する。\n"};

// --- driver: paths and their files -------------------------------------------------------------------------------
inline constexpr kx_message<> kMergeInputsFailed{"☆ File merge sort failed!\n",
                                                 "☆ファイルのマージソートは失敗しました！\n"};
inline constexpr kx_message<> kStandardInputFailed{"☆ Standard input sort failed!\n",
                                                   "☆標準入力のソートは失敗しました！\n"};
inline constexpr kx_message<> kSplitSortFailed{"☆ Error occurred during input file split sort!\n",
                                               "☆入力ファイルの分割ソート中にエラーが発生しました！\n"};
inline constexpr kx_message<> kMergeBlocksFailed{"☆ Error occurred during temporary file merge sort!\n",
                                                 "☆一時ファイルのマージソート中にエラーが発生しました！\n"};
inline constexpr kx_message<Text> kTemporaryFolder{
    "☆ Temporary folder [%s] does not exist or insufficient permissions!\n",
    "☆一時フォルダ[%s]は存在しません、又は権限不足です！\n"};
inline constexpr kx_message<Text> kCreateTemporaryFile{"☆ Failed to create temporary file [%s]!\n",
                                                       "☆一時ファイル[%s]は作成できませんでした！\n"};
inline constexpr kx_message<> kTemporaryFileBuffer{"☆ Failed to set temporary file buffer!\n",
                                                   "☆臨時ファイルのバッファの設定はできません！\n"};
inline constexpr kx_message<Text> kOpenTemporaryFile{"☆ Cannot open temporary file [%s]!\n",
                                                     "☆一時ファイル[%s]は開くことはできません！\n"};
inline constexpr kx_message<Text> kDeleteTemporaryFile{"☆ Failed to delete temporary file [%s]!\n",
                                                       "☆一時ファイル[%s]は削除できませんでした！\n"};
inline constexpr kx_message<Text> kOpenInputFile{"☆ Cannot open input file [%s]!\n",
                                                 "☆入力ファイル[%s]は開くことはできません！\n"};
inline constexpr kx_message<> kInputBuffer{"☆ Failed to set input buffer!\n", "☆入力バッファの設定はできません！\n"};
inline constexpr kx_message<Text> kReadInputFile{"☆ Error occurred while reading input file [%s]!\n",
                                                 "☆入力ファイル[%s]の読み込み中にエラーが発生しました！\n"};
inline constexpr kx_message<> kReadCsvHeader{"☆ Error occurred while reading CSV file header!\n",
                                             "☆CSVファイルのヘッダ読み込み中にエラーが発生しました！\n"};
inline constexpr kx_message<Text> kCreateOutputFile{"☆ Cannot create output file [%s]!\n",
                                                    "☆出力ファイル[%s]は作成できません！\n"};
inline constexpr kx_message<Text> kCreateOutputFileHint{
    "☆ Cannot create output file [%s]! Please check permissions.\n",
    "☆出力ファイル[%s]は作成できません！権限不足かをご確認ください。\n"};
inline constexpr kx_message<> kOutputBuffer{"☆ Failed to set output buffer!\n", "☆出力バッファの設定はできません！\n"};
inline constexpr kx_message<Text> kWriteOutputFile{"☆ Error occurred while writing output file [%s]!\n",
                                                   "☆出力ファイル[%s]の書き込み中にエラーが発生しました！\n"};
inline constexpr kx_message<> kWriteStandardOutput{"☆ Error occurred while writing to standard output!\n",
                                                   "☆標準出力への書き込み中にエラーが発生しました！\n"};
inline constexpr kx_message<Text> kWriteErrorFile{"☆ Error occurred while writing error file [%s]!\n",
                                                  "☆エラーファイル[%s]の書き込み中にエラーが発生しました！\n"};
inline constexpr kx_message<> kWriteTemporaryFile{
    "☆ Error occurred while writing to output file during split sort!\n",
    "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n"};
inline constexpr kx_message<> kStableSortFailed{"☆ In-memory stable sort failed!\n",
                                                "☆メモリ上での安定ソートは失敗しました!\n"};

// --- driver: progress (verbose) ----------------------------------------------------------------------------------
inline constexpr kx_message<Text> kSortStarted{"Sort started. %s\n", "ソートが開始します。 %s\n"};
inline constexpr kx_message<> kArgumentsStarted{"\n--- Argument processing started.--- \n",
                                                "\n--- 引数処理は開始します。--- \n"};
inline constexpr kx_message<> kLoadingStarted{"\n--- Argument loading started.--- \n",
                                              "\n--- 引数の読み込み処理は開始します。--- \n"};
// The doubled full stop belongs to the text.
inline constexpr kx_message<> kLoadingCompleted{"\n--- Argument loading completed.--- \n",
                                                "\n--- 引数の読み込み処理は完成しました。。--- \n"};
inline constexpr kx_message<> kCheckingStarted{"\n--- Argument checking started.--- \n",
                                               "\n--- 引数のチェック処理は開始します。--- \n"};
inline constexpr kx_message<> kCheckingCompleted{"\n--- Argument checking completed.--- \n",
                                                 "\n--- 引数のチェック処理は完成しました。--- \n"};
inline constexpr kx_message<> kArgumentsCompleted{"--- Argument processing completed.---\n",
                                                  "--- 引数処理は完成しました。---\n"};
inline constexpr kx_message<> kPoolStarted{"\n--- Memory pool processing started.--- \n",
                                           "\n--- メモリプール処理は開始します。--- \n"};
inline constexpr kx_message<kx_i64> kPoolSize{"Memory pool size is [%ld]KB.\n",
                                              "メモリプールのサイズは[%ld]KBです。\n"};
inline constexpr kx_message<> kPoolCompleted{"--- Memory pool processing completed.--- \n",
                                             "--- メモリプール処理は終了しました。--- \n"};
inline constexpr kx_message<> kMergeInputsStarted{"\n--- File merge sort processing started.--- \n",
                                                  "\n--- ファイルのマージソート処理は開始します。--- \n"};
inline constexpr kx_message<> kMergeInputsCompleted{"--- File merge sort processing completed.--- \n",
                                                    "--- ファイルのマージソート処理は終了しました。--- \n"};
inline constexpr kx_message<> kStandardInputStarted{"\n--- Standard input sort processing started.--- \n",
                                                    "\n--- 標準入力ソート処理は開始します。--- \n"};
inline constexpr kx_message<> kStandardInputCompleted{"--- Standard input sort processing completed.--- \n",
                                                      "--- 標準入力ソート処理は終了しました。--- \n"};
inline constexpr kx_message<> kInMemoryStarted{"\n--- In-memory sort started.--- \n",
                                               "\n--- メモリ上でのソートは開始します。--- \n"};
inline constexpr kx_message<double> kInputsRead{"Input file reading took [%8.0f]ms.\n",
                                                "入力ファイルの読み込みがかかった[%8.0f]msです。\n"};
inline constexpr kx_message<> kInMemoryCompleted{"--- In-memory sort completed.--- \n",
                                                 "--- メモリ上でのソートは終了しました。--- \n"};
inline constexpr kx_message<Text> kSplitStarted{"\n--- Split sort with temporary files started.--- %s\n",
                                                "\n--- 一時ファイルでの分割ソートは開始します。--- %s\n"};
inline constexpr kx_message<kx_i64> kSplitBlocks{"Number of split blocks: [%ld].\n",
                                                 "分割したブロック数は[%ld]です。\n"};
inline constexpr kx_message<double> kSplitTook{"Split sort took [%8.0f]ms.\n", "分割ソートがかかった[%8.0f]msです。\n"};
inline constexpr kx_message<Text> kSplitCompleted{"--- Split sort with temporary files completed.--- %s\n",
                                                  "--- 一時ファイルでの分割ソートは完成しました。--- %s\n"};
inline constexpr kx_message<Text> kMergeStarted{"\n--- Temporary file merge sort started.--- %s\n",
                                                "\n--- 一時ファイルのマージソートは開始します。--- %s\n"};
inline constexpr kx_message<double> kMergeTook{"Merge sort took [%8.0f]ms.\n",
                                               "マージソートがかかった[%8.0f]msです。\n"};
inline constexpr kx_message<Text> kMergeCompleted{"--- Temporary file merge sort completed.--- %s\n",
                                                  "--- 一時ファイルのマージソートは完成しました。--- %s\n"};

// --- driver: closing lines (verbose) -----------------------------------------------------------------------------
inline constexpr kx_message<kx_i64> kSortedRecords{"\nNumber of sorted records:  %ld\n",
                                                   "\nソートされたレコード数:  %ld\n"};
inline constexpr kx_message<Text> kSortCompleted{"Sort completed successfully. %s \n",
                                                 "ソートが正常終了しました。 %s \n"};
inline constexpr kx_message<kx_i64, kx_i64, kx_i64, kx_i64> kClockReadings{
    "finish=%ld, startFirst=%ld, finish-startFirst=%ld, CLOCKS_PER_SEC=%ld, \n"};
inline constexpr kx_message<double, double> kSortTook{"Sort took [%.0f]ms, [%.3f]s.\n",
                                                      "ソートがかかった[%.0f]ms, [%.3f]sです。\n"};
inline constexpr kx_message<> kRule{"------------------------------------------------------------\n"};
inline constexpr kx_message<> kBlankLine{"\n"};
inline constexpr kx_message<> kBlankAndRule{"\n------------------------------------------------------------\n"};

// --- sorts: progress (verbose, Japanese only) --------------------------------------------------------------------
inline constexpr kx_message<Text> kInputLoaded{"入力ファイル[%s]の読み込みは完了しました。\n"};
inline constexpr kx_message<Text, double> kIndexTook{"[%s]がかかった[%8.0f]msです。\n"};
inline constexpr kx_message<double> kUnstableSortTook{"不安定ソートがかかった[%8.0f]msです。\n"};
inline constexpr kx_message<double> kStableSortTook{"安定ソートがかかった[%8.0f]msです。\n"};
inline constexpr kx_message<double> kOutputTook{"出力がかかった[%8.0f]msです。\n"};
inline constexpr kx_message<double> kReleaseTook{"メモリ解放がかかった[%8.0f]msです。\n"};

// --- index of newline-ended and CSV records ----------------------------------------------------------------------
inline constexpr kx_message<Text> kCreateErrorFile{"☆ Cannot create error file [%s]!\n",
                                                   "☆エラーファイル[%s]は作成できません！\n"};
inline constexpr kx_message<> kErrorBuffer{"☆ Failed to set error buffer!\n", "☆エラーバッファの設定はできません！\n"};
inline constexpr kx_message<> kInvalidRecordLength{"☆ Invalid record length detected! \n",
                                                   "☆不正なレコード長を検知しました！ \n"};

// In complete mode.
inline constexpr kx_message<Text> kRecordLacksKey{
    "☆ Input file [%s] has a record that lacks a sort key! Specify an error file (-E).\n",
    "☆入力ファイル[%s]にソートキーの足りないレコードがあります！エラーファイル(-E)を指定してください。\n"};
inline constexpr kx_message<> kInputLacksKey{
    "☆ Standard input has a record that lacks a sort key! Specify an error file (-E).\n",
    "☆標準入力にソートキーの足りないレコードがあります！エラーファイル(-E)を指定してください。\n"};

// --- split sort --------------------------------------------------------------------------------------------------
inline constexpr kx_message<kx_i64> kSplitBuffer{"☆ Failed to allocate [%ld]KB memory for split sort buffer! \n",
                                                 "☆分割ソート用バッファ[%ld]KBメモリの割当は失敗しました！ \n"};
inline constexpr kx_message<> kReadSplitInput{"☆ Error occurred while reading input file during split sort!\n",
                                              "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n"};
// Kept: the text names the fixed-length routine for every format.
inline constexpr kx_message<> kSplitStableSort{
    "☆ Failed to call kx_list_msort function during split sort (kx_splitSortFile)! \n",
    "☆分割ソート中にkx_list_msort函数の呼び込みは失敗しました(kx_splitSortFile)！ \n"};
inline constexpr kx_message<kx_i64> kBlockInformation{
    "☆ Failed to allocate [%ld] bytes for block information management! \n",
    "☆ブロック情報管理用[%ld]メモリの割当は失敗しました！ \n"};
// Kept: the words "unit_cnt" stand for a number that the text has no conversion for.
inline constexpr kx_message<> kBlockListMemory{
    "☆ Failed to extend block information management memory [unit_cnt units]! \n",
    "☆ブロック情報管理用メモリ[unit_cnt個]の拡張は失敗しました！ \n"};
inline constexpr kx_message<kx_i64, kx_i64> kRecordTooLong{
    "☆ Record length [%ld] is too long for sorting within [%ld]KB memory!\n",
    "☆レコード長[%ld]はメモリ[%ld]KBでのソートには長すぎます！\n"};
inline constexpr kx_message<kx_i64> kShowSplitBuffer{"分割ソート用バッファサイズは[%ld]KBです。\n"};
inline constexpr kx_message<kx_i64> kShowFirstSplitBuffer{"最初分割ソート用バッファサイズは[%ld]KBです。\n"};
inline constexpr kx_message<kx_i64> kBlockWritten{"ブロック%ld を処理しました！ \n"};

// --- standard input ----------------------------------------------------------------------------------------------
inline constexpr kx_message<> kTemporaryPath{"☆ Temporary file path is invalid, sorting aborted!\n",
                                             "☆一時ファイルのパスが不正の為、ソート中止しました！\n"};
inline constexpr kx_message<> kInputStableSort{
    "☆ Failed to call kx_list_msort function during split sort (kx_stdin)! \n",
    "☆分割ソート中にkx_list_msort函数の呼び込みは失敗しました(kx_stdin)！ \n"};
inline constexpr kx_message<kx_i64> kInvalidDataSize{"☆ Invalid input data size [%ld]!\n",
                                                     "☆入力データのサイズ[%ld]は不正です！\n"};
inline constexpr kx_message<> kReadStandardInput{"☆ Error occurred while reading standard input!\n",
                                                 "☆標準入力の読み込み中にエラーが発生しました！\n"};
inline constexpr kx_message<kx_i64> kShowInputBuffer{"ブロックのバッファサイズは[%ld]KBです。\n"};
inline constexpr kx_message<Text> kInputSplitStarted{"-- 一時ファイルでのソートは開始します。 %s\n"};
inline constexpr kx_message<> kNoInputData{"\n-- ソートデータ無しなので、終了する。\n"};
// Kept: raw clock units under the label ms.
inline constexpr kx_message<kx_i64> kInputSplitTook{"分割ソートにかった時間[%ld]msです。\n"};
inline constexpr kx_message<Text> kInputSplitCompleted{"-- 一時ファイルでの分割ソートは完成しました。 %s\n\n"};
inline constexpr kx_message<Text> kInputMergeStarted{"-- 一時ファイルのマージソートは開始します。 %s\n"};
inline constexpr kx_message<kx_i64> kInputMergeTook{"一時ファイルのマージソートがかかった時間[%ld]ms。\n"};
inline constexpr kx_message<Text> kInputSortCompleted{"-- 一時ファイルでのソートは完成しました。 %s\n"};

// --- merge of presorted inputs -----------------------------------------------------------------------------------
inline constexpr kx_message<kx_i64> kMergeBuffer{"☆ Failed to allocate [%ld]KB memory for merge sort buffer! \n",
                                                 "☆マージソート用バッファ[%ld]KBメモリの割当は失敗しました！ \n"};
inline constexpr kx_message<> kReadMergeInput{"☆ Error occurred while reading input file during merge sort!\n",
                                              "☆マージソートでは、入力ファイルの読み込み中にエラーが発生しました！\n"};

// --- merges ------------------------------------------------------------------------------------------------------
inline constexpr kx_message<kx_i64> kStagingMemory{"☆出力バッファ[%ld]KBメモリの割当は失敗しました！ \n"};
// Kept: both wordings receive the block's number first, so the English text shows number and size in each other's
// places.
inline constexpr kx_message<kx_i64, kx_i64> kBlockBufferMemory{
    "☆ Failed to allocate [%ld]KB memory for block buffer %ld!\n",
    "☆ブロックバッファ%ldの[%ld]KBメモリの割当は失敗しました!\n"};
inline constexpr kx_message<> kSeekTemporaryFile{"☆ fseek operation on temporary file failed!\n",
                                                 "☆一時ファイルに対するfseek操作は失敗しました!\n"};
inline constexpr kx_message<> kReadTemporaryFile{"☆一時ファイルの読み込み中にエラーが発生しました！\n"};
inline constexpr kx_message<kx_i64> kShowOutputBuffer{"出力バッファサイズは[%ld]KBです。\n"};
inline constexpr kx_message<kx_i64> kShowBlockCount{"ブロックバッファ数は[%ld]です。\n"};
inline constexpr kx_message<kx_i64, kx_i64> kBlockBufferTooSmall{
    "☆各ブロックのバッファサイズ[%ld]は最大レコード長[%ld]より小さいです。\n"};
inline constexpr kx_message<kx_i64> kBlockBufferEnlarged{"☆各ブロックのバッファサイズを[%ld]Byteにします。\n"};
inline constexpr kx_message<kx_i64, kx_i64> kShowBlockBuffer{"各ブロックのバッファサイズは[%ld]KB, [%ld]Byteです。\n"};
inline constexpr kx_message<kx_i64, kx_i64> kShowTotalMemory{"totalMemSizeのサイズは[%ld]KB, [%ld]Byteです。\n"};
inline constexpr kx_message<kx_i64, kx_i64> kShowReserve{"BASIC_SIZEのサイズは[%ld]KB, [%ld]Byteです。\n"};
inline constexpr kx_message<kx_i64, kx_i64, kx_i64> kBlockBufferReady{
    "ブロックバッファ%ldの[%ld]KB, [%ld]Byteの初期化は完了しました。\n"};
inline constexpr kx_message<> kBlocksFilled{"一時ファイル⇒ブロックバッファにデータを埋め込みました。\n"};
inline constexpr kx_message<kx_i64, kx_i64, Text> kBlockMerged{"総ブロック数:%ld  完成ブロック番号：%ld - %s\n"};
inline constexpr kx_message<kx_i64, kx_i64> kBlockMergedUntimed{"総ブロック数:%ld  完成ブロック番号：%ld\n"};

// --- option scanner ----------------------------------------------------------------------------------------------
// The option's letter is not part of these two texts.
inline constexpr kx_message<Text, Text> kScannerError{"%s: %s\n"};

// --- options -----------------------------------------------------------------------------------------------------
inline constexpr kx_message<Text> kInvalidOption{"☆ Invalid option [%s]!\n", "☆オプション[%s]不正です！\n"};
inline constexpr kx_message<Text> kInvalidSize{"☆ Invalid option [W%s]!\n", "☆オプション[W%s]不正です！\n"};
inline constexpr kx_message<Text> kInvalidBufferSize{"☆ Invalid buffer size [%s]!\n",
                                                     "☆バッファサイズ[%s]不正です！\n"};
inline constexpr kx_message<> kNoOptionMemory{"☆ Failed to allocate memory for the options!\n",
                                              "☆オプション用メモリの割当は失敗しました！\n"};
inline constexpr kx_message<> kSortAscending{"☆ Sort all records in ascending order\n", "☆全レコードを昇順ソート\n"};
inline constexpr kx_message<> kSortDescending{"☆ Sort all records in descending order\n", "☆全レコードを降順ソート\n"};
inline constexpr kx_message<> kFirstLineHeader{"☆ Treat first line as header\n", "☆先頭の行をヘッダとして扱う\n"};
inline constexpr kx_message<char> kFlag{"-%c\n"};
inline constexpr kx_message<Text> kEchoDelimiter{"ソートの区切りとしてのデリミタは: %s\n"};
inline constexpr kx_message<Text> kEchoNewline{"入力データの改行コードは: %s\n"};
inline constexpr kx_message<Text> kEchoErrorFile{"エラーファイルは: %s\n"};
inline constexpr kx_message<Text> kEchoOutputFile{"出力ファイルは: %s\n"};
inline constexpr kx_message<Text> kEchoTemporaryFolder{"一時フォルダは: %s\n"};
inline constexpr kx_message<kx_i64, Text> kEchoKey{"ソートキー%ldは:%s\n"};
inline constexpr kx_message<kx_i64> kEchoRecordLength{"レコード長は: %ld\n"};
inline constexpr kx_message<kx_i64> kEchoMemorySize{"バッファサイズ：[%ldMB]\n"};
inline constexpr kx_message<kx_i64, Text> kEchoInputFile{"入力ファイル%ldのパスは: %s\n"};

// --- settings ----------------------------------------------------------------------------------------------------
inline constexpr kx_message<Text> kInvalidNewline{"☆ Invalid newline code [%s]!\n", "☆改行コード[%s]は不正です！\n"};
inline constexpr kx_message<kx_i64, Text> kStatInputFile{"☆ Failed to stat input file %ld [%s]!\n",
                                                         "☆入力ファイル%ld[%s]のstatを参照失敗しました！\n"};
inline constexpr kx_message<kx_i64, Text> kNoRegularInput{"☆ Input file %ld [%s] is not a regular file!\n",
                                                          "☆入力ファイル%ld[%s]は通常ファイルではありません！\n"};
inline constexpr kx_message<kx_i64, Text> kPipeNamedBefore{"☆ Input file %ld [%s] is a pipe that was named before!\n",
                                                           "☆入力ファイル%ld[%s]は既に指定されたパイプです！\n"};
// Kept: both wordings receive the file's number first, so the English text shows number and size in each other's
// places.
inline constexpr kx_message<kx_i64, kx_i64> kInvalidInputSize{"☆ Invalid size [%ld] for input file %ld!\n",
                                                              "☆入力ファイル%ldのサイズ[%ld]は不正です！\n"};
inline constexpr kx_message<Text> kOutputFolder{"☆ Output folder [%s] does not exist or insufficient permissions!\n",
                                                "☆出力フォルダ[%s]は存在しません、又は権限不足です！\n"};
inline constexpr kx_message<Text> kErrorFolder{"☆ Error folder [%s] does not exist or insufficient permissions!\n",
                                               "☆エラーフォルダ[%s]は存在しません、又は権限不足です！\n"};
inline constexpr kx_message<> kNoTemporaryFolder{"☆ Temporary folder is not specified!\n",
                                                 "☆一時フォルダは未指定です！\n"};
inline constexpr kx_message<kx_i64> kInvalidKey{"☆ Sort key %ld is invalid!\n", "☆ソートキー%ldは不正です！\n"};
inline constexpr kx_message<Text> kInvalidKeyText{"ソートキー[%s]指定不正！\n"};
inline constexpr kx_message<Text> kShowOutputFolder{"出力フォルダ: %s\n"};
inline constexpr kx_message<Text> kShowOutputName{"出力ファイル名: %s\n"};
inline constexpr kx_message<Text> kShowErrorFolder{"Error folder: %s\n", "エラーフォルダ: %s\n"};
inline constexpr kx_message<Text> kShowErrorName{"Error file name: %s\n", "エラーファイル名: %s\n"};
inline constexpr kx_message<Text> kShowTemporaryFolder{"Temporary folder: %s\n", "一時フォルダ: %s\n"};
inline constexpr kx_message<Text> kSystemTemporaryFolder{
    "Temporary folder not specified, using system temporary folder [%s].\n",
    "一時フォルダは未指定の為、システムの一時フォルダ[%s]を使用する。\n"};
inline constexpr kx_message<Text> kShowTemporaryPath{"一時パス: %s\n"};
inline constexpr kx_message<kx_i64, Text, kx_i64> kShowCsvKey{"ソートキー%ld(%s)の位置は: %ld\n"};
inline constexpr kx_message<kx_i64, Text, Text> kShowKey{"ソートキー%ld(%s)は: %s\n"};
inline constexpr kx_message<kx_i64, Text, kx_i64> kShowKeyStart{"ソートキー%ld(%s)の開始位置は: %ld\n"};
inline constexpr kx_message<kx_i64, Text, kx_i64> kShowKeyLength{"ソートキー%ld(%s)の長さは: %ld\n"};

} // namespace orkan::msg
