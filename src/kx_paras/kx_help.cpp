// kx_help.cpp: the help, version and licence texts.
#include "kx_paras/kx_help.h"

#include "kx_utils/kx_locale.h"

namespace orkan {

namespace {

// The sizes "64MB" and "1024KB" shown here are not accepted (only one suffix letter is) and the key suffix "t" is
// accepted but not listed: by design.
constexpr const char *kHelpEnglish = R"help(
ORKAN  [-V]  [-Verbose]  [-M]  [-N]  [-C]  [-H]  [-S]  [-U]  [-A]  [-R]  [-P newline_code]  [-D delimiter] 
 [-L record_bytes]  [-K sort_key]  [-W memory_size] 
 [-T temp_folder] [-O output_file] [-E error_file] [input_files...] 

  -V			Display version and license information.
  -Verbose		Output detailed debug information.
  -M			Merge already sorted files.
  -N			Output CSV null columns last.
  -C			Process input file as CSV file.
  -H			Treat the first line of CSV file as header.
  -S			Stable sort (maintains input order for records with the same key).
  -U			Remove duplicate records (records with the same sort key).
  -L record_bytes	Specify record length for fixed-length files.
			Note: If specified with -C, -C is ignored and processed as fixed-length.
			Note: There is no particular limit on record length.

  -K sort_key		Specify sort key.
			For fixed-length/variable-length files:
			  start_position[,length] [n] [a|d]
			  - start_position: Byte position starting from 0
			  - length: Key length (optional)
			  - n: Numeric comparison (optional)
			  - a: Ascending (optional), d: Descending
			For CSV files:
			  column_position [n] [a|d]
			  - column_position: Column number starting from 1
			  - n: Numeric comparison (optional)
			  - a: Ascending (optional), d: Descending
			Note: Multiple keys can be specified, key positions can overlap.

  -A			Sort all records in ascending order (default).
  -R			Sort all records in descending order.
  -P newline_code	Specify newline code for variable-length/CSV files.
			Possible values: \n, \r, \r\n
			Default: \n
  -D delimiter		Specify delimiter for CSV files.
			Possible values: Any string (e.g., ,, \t, etc.)
			Default: ,

  -W memory_size	Specify main memory size used for sorting.
			Format: number[MB|KB]
			Examples: -W 64MB, -W 1024KB, -W 67108864 (bytes)
			If memory size is specified, use the specified size of memory
			regardless of available memory.
			Note: Minimum value is limited to 16MB.
			Note: If not specified, use all available memory for sorting.

  -T temp_folder	Specify temporary file directory when data cannot be
			stored in main memory.
			Default: System temporary directory

  -O output_file	Specify output file.
			Note: If not specified, output to stdout.

  -E error_file		Specify file to output error records.
			Note: If not specified, error records are skipped.
			Note: Error records: Records shorter than the maximum sort key position

  [input_files...]	Specify input files.
			Note: If not specified, read from stdin.
			Note: Multiple files can be specified.

Examples:
  ORKAN -C -H -K 1 -K 3d -O output.csv input.csv
  ORKAN -L 100 -K 0,10 -K 20,5d -W 128MB input.dat
  ORKAN -C -D \t -P \r\n -S -U input.csv
)help";

constexpr const char *kHelpJapanese = R"help(
ORKAN  [-V]  [-Verbose]  [-M]  [-N]  [-C]  [-H]  [-S]  [-U]  [-A]  [-R]  [-P 改行コード]  [-D デリミタ] 
 [-L レコードバイト]  [-K ソートキー]  [-W メモリサイズ] 
 [-T 一時ファイルフォルダ] [-O 出力ファイル] [-E エラーファイル] [入力ファイル...] 

  -V			バージョン、ライセンス情報を表示します。
  -Verbose		詳細なデバッグ情報を出力します。
  -M			ソート済みファイルをマージします。
  -N			CSVの空白列を最後に出力します。
  -C			入力ファイルはCSVファイルとして処理します。
  -H			CSVファイルの先頭行をヘッダとして扱います。
  -S			安定ソート（同じキーの複数レコードの入力順序を保持します）。
  -U			重複レコード（ソートキーが等しいレコード）を削除します。
  -L レコードバイト	固定長ファイルのレコード長を指定します。
			※-Cと同時に指定すると、-Cを無視して固定長として処理します。
			※レコード長に特に制限はありません。

  -K ソートキー	ソートキーを指定します。
			固定長・可変長ファイルの場合：
			  開始位置[,長さ] [n] [a|d]
			  - 開始位置：0から始まるバイト位置
			  - 長さ：キーの長さ（省略可）
			  - n：数字として比較（省略可）
			  - a：昇順（省略可）、d：降順
			CSVファイルの場合：
			  列位置 [n] [a|d]
			  - 列位置：1から始まる列番号
			  - n：数字として比較（省略可）
			  - a：昇順（省略可）、d：降順
			※複数指定可能、各キーの位置は重複可能です。

  -A			全レコードを昇順でソートします（デフォルト）。
  -R			全レコードを降順でソートします。
  -P 改行コード	可変長・CSVファイルの改行コードを指定します。
			指定可能な値：\n, \r, \r\n
			デフォルト：\n
  -D デリミタ	CSVファイルの区切り文字（デリミタ）を指定します。
			指定可能な値：任意の文字列（例：,、\tなど）
			デフォルト：,

  -W メモリサイズ	ソートに使用するメインメモリのサイズを指定します。
			形式：数値[MB|KB]
			例：-W 64MB, -W 1024KB, -W 67108864（バイト）
			メモリサイズが指定された場合、利用可能なメモリに関係なく、
			指定されたサイズのメモリを使用します。
			※最小値は16MBに制限されます。
			※未指定の場合、全メモリを使用してソートします。

  -T 一時ファイルフォルダ	データをメインメモリに格納できない場合の
			一時ファイル保存ディレクトリを指定します。
			デフォルト：システムの一時ディレクトリ

  -O 出力ファイル	出力先ファイルを指定します。
			※未指定の場合、標準出力に出力します。

  -E エラーファイル	エラーレコードを出力するファイルを指定します。
			※未指定の場合、エラーレコードをスキップします。
			※エラーレコード：レコード長が最大ソートキー位置より短いレコード

  [入力ファイル...]	入力ファイルを指定します。
			※未指定の場合、標準入力から読み込みます。
			※複数のファイルを指定可能です。

使用例：
  ORKAN -C -H -K 1 -K 3d -O output.csv input.csv
  ORKAN -L 100 -K 0,10 -K 20,5d -W 128MB input.dat
  ORKAN -C -D \t -P \r\n -S -U input.csv
)help";

const char *by_language(const char *english, const char *japanese) {
    return kx_IsJapaneseLocale() != 0 ? japanese : english;
}

} // namespace

const char *kx_GetHelp() { return by_language(kHelpEnglish, kHelpJapanese); }

const char *kx_GetVersion() {
    return by_language("\nVersion: " ORKAN_VERSION "\n", "\nバージョン：" ORKAN_VERSION "\n");
}

const char *kx_GetCopyright() {
    return by_language("Copyright (c) 2026 the orkan developers\n", "著作権 (c) 2026 the orkan developers\n");
}

const char *kx_GetContact() { return by_language("Contact: the orkan developers\n", "連絡先：the orkan developers\n"); }

const char *kx_GetLicense() {
    return by_language("License: MIT. Use, copy, change and pass on freely; there is no warranty.\n",
                       "ライセンス：MIT。自由に使用、複製、変更、再配布できます。無保証です。\n");
}

} // namespace orkan
