// texts.h: the system's texts that many tests expect, typed here once, apart from its own catalogue.
#pragma once

#include <string>

namespace support {

inline const std::string kStart = "☆ orkan start...\n";
inline const std::string kEnd = "☆ orkan end.\n";

inline const std::string kFailed = "\n☆ Sort failed. \n";
inline const std::string kFailedJa = "\n☆ソートは失敗しました。 \n";
inline const std::string kSyntax = "☆ Command syntax error!\n";
inline const std::string kSyntaxJa = "☆コマンドの構文は誤りがあります！\n";
inline const std::string kArguments = "☆ Error occurred during argument processing!\n";
inline const std::string kArgumentsJa = "☆引数処理中にエラーが発生しました！\n";

inline const std::string kRule(60, '-');

/// What stands between the first `from` and the next `to` behind it; a complaint when either is missing.
std::string between(const std::string &text, const std::string &from, const std::string &to);

inline const std::string kHelp = R"help(
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

inline const std::string kHelpJa = R"help(
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

} // namespace support
