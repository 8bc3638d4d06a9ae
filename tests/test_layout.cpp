// The layout subsystem: command line, help display, layout reader, keywords, OCCURS and
// OFFSET, and the error list. Every expected value was worked out by hand from the
// layout rules, not taken from the program's output.
#include "core/textfile.h"
#include "support.h"

#include <QFontDatabase>

namespace {

// The 69 fixed lines of the help display, as the user must see them.
const char* const help_expected[] = {
    "KORVAN??.EXE {PRINT[REAL],DISPLAY[TEST],DATA[TEST_DATA]_} データ レイアウト 開始 終了",
    "文字，罫線，バーコード(code39,jan)を紙に印刷するためのプログラムです。",
    "◎'PRINT[REAL]'の時は実際に印刷します。、'DISPLAY[TEST]'の時は印刷情報を画面に出します。",
    "◎'DISPLAY[TEST]_DATA'の時はデータを読まないで自動的に作り出します。",
    "  (VER11で廃止）マウス右ボタンのPrintで１頁分のテスト印刷をします。",
    "  ”P”キー押下で１頁分のテスト印刷をします。(VER11）",
    "  Enterキーで次のページを出し，Escキーで終了します。",
    "  →,←,↑,↓,で画面内を移動し,Inset,Delete,Home,Endで拡大縮小します。",
    "  線幅が異なっても解像度の問題で画面で幅が変わって見えない時は拡大して下さい。",
    "◎作業中のディレクトリはWindowsは%SystemDrive%\\Q\\TMP,LINUXは/home/Q/TMPと見なします。(Ver4)",
    "◎データが空の時は'KORVAN.TXT'と見なします。",
    "  データでそれぞれの印刷データをタブで区切って指定します。",
    "  １ページ分のデータの終わりがレコードの切れ目と合わない場合エラーになります。",
    "◎レイアウトが空の時は'KORVAN.CSV'と見なします。",
    "  レイアウトで印刷レイアウトをＣＳＶ形式で指定します。",
    "  先頭に'*'の有るレコードは注釈とみなします。",
    "  最後に'\\'の有るレコードは継続します。",
    "  文字列が空の時はデータより文字列を読み込みます。",
    "  ｘは右方向，ｙは下方向のオフセットの位置です。(左上)",
    "  位置，高，幅は１ｍｍ単位で指定し小数点以下も指定できます。",
    "  線種は次の指定ができます。（0=実線,1=破線,2=点線,3=１点破線,4=２点破線）",
    "  数値項目を省略した場合は0見なし、くり返し項目が0の時は以降くり返し無しと見なします。",
    "◎開始は開始頁を指定します、省略又は０の時は１頁目の指定です。",
    "◎終了は終了頁を指定します、省略又は０の時は最後の頁の指定です。",
    "◎文字列が?_PAGE?の場合はページに変更します。（VER10)",
    "◎文字列が?_TODAY?の場合は印刷日で「年-月-日」に変更します。（VER10)",
    "■用紙を指定 PAPER,用紙サイズ,印刷の向き",
    "             用紙サイズはA4,B5等プリンタで指定出来る物です,空は既定値です。",
    "             印刷の向きは1が縦向きで、2が横向きです、空は既定値です。",
    "■オフセット情報を指定 OFFSET,x,y[,x以降くり返し]。",
    "■線名を指定    LINE_SET,線名,線幅,線種,線名以降くり返し",
    "■文字名を指定  FONT,フォント (Ver7)",
    "                  以降のCHAR_SETでフォントを省略した場合のフォントを指定します。",
    "■文字名を指定  CHAR_SET,文字名,文字サイズ,フォント,属性,文字名以降くり返し",
    "                文字サイズが0の場合はデータ側から「文字サイズ:文字列」で受け取ります。(Ver7)",
    "                属性は'B'が太字で、'I'が斜体です、'BI'が太字で斜体です。",
    "◆下記の繰り返し指定 OCCURS,繰り返し数,ｘ,ｙ,繰り返し数以降くり返し",
    "                  　   ｘ,ｙはオフセット位置です、次のoccurs指定まで有効です。",
    "●任意の線を引く   LINE,線名,x1,y1,x2,y2[,x1以降くり返し]",
    "●長方形の線を引く BOX,線名,x1,y1,x2,y2[,x1以降くり返し]",
    "●横の線を引く     X_LINE,線名,x1,y,x2[,yのくり返し]",
    "●縦の線を引く     Y_LINE,線名,x,y1,y2[,xのくり返し]",
    "●楕円を引く       ARC,線名,x1,y1,x2,y2,開始角度,終了角度[,x1以降のくり返し]",
    "●文字を印字       "
    "TEXT[_FIX][_V],文字列,文字名,[文字間隔],x,y,文字数,編集[,文字名以降くり返し]",
    "〇データを印字     DATA[_FIX][_V],文字名,[文字間隔],x,y,文字数,編集[,文字名以降くり返し]",
    "                     文字数が０の時は文字列(データ）より文字数を計算します。",
    "                     編集はRは右詰め,Dは日付け(YYYY-MM-DD),-,+,.は数値で','を付加して右詰め、",
    "                     Zは単に右詰めしますがZと．は少数点以下が０の時は．以下を印字しません。",
    "                     Eは+と同じですが先頭に\\記号を付加します。(Ver13)",
    "                     Yは日付けを日月年の順番（DD-MM-YYYY)で出します。",
    "                     ..._Vは縦方向に印刷します",
    "                     ..._FIXは文字間隔を右端位置とみなして等間隔に印刷します。",
    "                     ..._FIX_Vは文字間隔を下端位置とみなして等間隔に印刷します。",
    "●縦印字文字を変更 REPLACE_V,変更前文字,変更後文字[,変更前文字以降くり返し]　(ver7)",
    "                     DATA_..._Vのデータの文字を更します。",
    "●CODE39を印字 CODE39,[文字列],細線幅,ｺｰﾄﾞ縦,x,y,文字ｻｲｽﾞ,文字x,文字y[,細線幅以降くり返]",
    "                 文字ｘと文字ｙはバーコード印字左下位置からのオフセット位置です。",
    "                 文字列の最初と最後に'*'が無い場合はデジット文字と*を付加します。",
    "                 文字列にバーコード変換出来ない文字が有るとエラー終了します。",
    "                 文字列が空白の場合データから設定します。",
    "●IMAGEを印字する IMAGE,[ファイル名],x1,y1,x2,y2[,x1以降くり返し] （VER3) ",
    "                    ファイル名が空白の場合データから設定します。",
    "                  "
    "　x2とy2が0の時は実物大で印刷します★注意:サイズ補正が出来ないので環境により大きさが異なります",
    "●JANを印字する JAN,[文字列],細線幅,ｺｰﾄﾞ縦,x,y[,細線幅以降くり返し]",
    "                  "
    "８文字か１３文字以外印字出来ませんが、７文字か１２文字の時はデジット文字を付加します。",
    "                  文字はOCR-Bフォントではありません。",
    "                  文字列が空白の場合データから設定します。",
    "●VERSIONを判定 VERSION,バージョン番号",
    "○用紙の種類は該当プリンタの指定出来るもののみ使用下さい。",
};

// "KEYWORD|flag|text|edit|style|count|num1,...,num7" of each item.
QStringList describe_sx(const p_l& items) {
    QStringList out;
    for (const qx_print_l* p : items) {
        QStringList nums;
        for (float v : {p->num1, p->num2, p->num3, p->num4, p->num5, p->num6, p->num7})
            nums.append(QString::number(double(v), 'g', 7));
        out.append(QStringList{p->keyword, QString::number(p->data_flag), p->text, p->edit,
                               QString::number(p->style), QString::number(p->count), nums.join(',')}
                       .join('|'));
    }
    return out;
}

// The mode, the files and the page range of a command line, and its error.
struct command_row {
    const char* tag;
    QStringList args;
    int mode;
    const char *data, *layout;
    int start, end;
    const char* error;
};
// clang-format off
const command_row command_rows[] = {
    {"defaults", {}, 0, "KORVAN.TXT", "KORVAN.CSV", 1, 0, ""},
    {"pages whatever the mode", {"HELP", "a", "b", "4", "6"}, 0, "a", "b", 4, 6, ""},
    {"0 0 is every page", {"Display", "a", "b", "0", "0"}, 2, "a", "b", 1, 0, ""},
    {"one page", {"print", "a", "b", "2", "2"}, 3, "a", "b", 2, 2, ""},
    {"end before start", {"REAL", "a", "b", "3", "2"}, 3, "a", "b", 3, 2, "終了[5] (2) error"},
    {"negative start", {"test", "a", "b", "-1"}, 2, "a", "b", -1, 0, "開始[4] (-1) error"},
    {"start not a number", {"data", "a", "b", "abc", "1"}, 1, "a", "b", 1, 0, "開始[4] not numeric \"abc\""},
    {"TEST_DATA", {"Test_Data"}, 1, "KORVAN.TXT", "KORVAN.CSV", 1, 0, ""},
    {"DISPLAY_DATA is no mode", {"DISPLAY_DATA"}, 0, "KORVAN.TXT", "KORVAN.CSV", 1, 0, ""}};

struct split_row {
    const char* record;
    QStringList fields;
};
const split_row split_rows[] = {
    {"A,B,", {"A", "B", ""}}, {"", {""}},
    {"  a  ,\tb\t,\u3000c\u3000", {"a", "b", "c"}},       // blanks around go
    {"  \" a \"  ,b", {" a ", "b"}},                          // quotes keep them
    {"\"a,b\",c", {"a,b", "c"}}, {"a\"\"b,\"a\"\"b\"", {"a\"b", "a\"b"}},
    {"\"\"\"\",\"\"", {"\"", ""}}, {"x\"y\",z", {"x\"y\"", "z"}}, {"a,\"b,c", {"a", "\"b,c"}}};

// A layout, what it parses into and the errors, which name the line and keyword.
struct layout_row {
    const char* tag;
    QByteArray layout;
    QStringList items, errors;
};
// Each layout follows the line style L on line 1. Items are described in full
// (describe_sx), by num1..num4 where only the positions matter, or by their texts where
// only the records matter; line items first.
const layout_row keyword_rows[] = {
    {"line numbers count every line; keyword upper-cased", "\n   \n*comment\nfoo\nBAR,1\n", {},
     {"(5) FOO FOO ?", "(6) BAR BAR ?"}},
    {"continued record has its last line's number", "FOO,\\\n1,\\\n2\nBAR", {},
     {"(4) FOO FOO ?", "(5) BAR BAR ?"}},
    {"continuation drops leading blanks only", "TEXT,ab \\\n   cd\\\n  ef\n", {"ab cdef"}, {}},
    {"empty line ends a continued record", "FOO,\\\n\nBAR", {}, {"(3) FOO FOO ?", "(4) BAR BAR ?"}},
    {"record cut off by the end of the file is dropped", "TEXT,a\nFOO,\\", {"a"}, {}},
    {"blank before star is no comment", "   *FOO,1\nTEXT,a", {"a"}, {"(2) *FOO *FOO ?"}},
    {"continued comment", "*FOO,\\\nBAR\nTEXT,a", {"a"}, {}},
    {"line filled to one group", "LINE,L", {"LINE|0|L||0|0|0,0,0,0,0,0,0"}, {}},
    {"arc: groups of six, the last filled", "ARC,L,1,2,3,4,5,6,7",
     {"ARC|0|L||0|0|1,2,3,4,5,6,0", "ARC|0|L||0|0|7,0,0,0,0,0,0"}, {}},
    {"bad number ends a line record", "BOX,L,1,2,3,4,5,x,7,8,9,10,11,12",
     {"BOX|0|L||0|0|1,2,3,4,0,0,0"}, {"(2) BOX not numeric \"x\""}},
    {"line names are case-sensitive", "BOX,l,1,2,3,4,5,6,7,8", {}, {"(2) BOX Line name (l) not found"}},
    {"bad text group skipped", "TEXT,t,,1,x,2,0,,,0,3,4,0,r", {"TEXT|0|t|R|0|0|3,4,0,0,0,0,0"},
     {"(2) TEXT not numeric \"x\""}},
    {"count is an integer", "TEXT,t,,0,1,1,2.5,", {}, {"(2) TEXT not numeric \"2.5\""}},
    {"data: unknown style skips its group", "DATA_V,S9,,1,1,0,,,,2,2,0,",
     {"DATA_V|2|||0|0|2,2,0,0,0,0,0"}, {"(2) DATA_V Char name (S9) not found"}},
    {"empty keyword", ",a", {}, {"(2)   ?"}},
    {"unknown keyword", "page,1", {}, {"(2) PAGE PAGE ?"}},
    // Errors come in file order, each line named, and parsing goes on after each.
    {"errors in file order", "* a comment\n\nBOX,M,1,1,2,2\nTEXT,ok\nTEXT,a,\\\n  S9,,1,1,0,\n"
     "BOX,L,1,1,2,2,3,3,x,4\nPAPER,A4,1,1\nCODE39,,1,2,3,4,5,6,7", {"L", "ok", ""},
     {"(4) BOX Line name (M) not found", "(7) TEXT Char name (S9) not found",
      "(8) BOX not numeric \"x\"", "(9) PAPER Count(4)"}},
    {"font not installed", "FONT,No Such Font", {}, {"(2) FONT FONT(No Such Font) not found"}},
    // A style whose font is missing is still defined: only the font is reported.
    {"char_set font", "CHAR_SET,S,3,No Such Font,\nTEXT,t,S", {"t"}, {"(2) CHAR_SET FONT(No Such Font) not found"}},
    {"replace_v odd", "REPLACE_V,a,b,c", {}, {"(2) REPLACE_V not even"}},
    {"font alone", "FONT", {}, {"(2) FONT FONT,(FONT Name)"}},
    {"font empty", "FONT,", {}, {"(2) FONT FONT,(FONT Name)"}},
    {"paper alone", "PAPER", {}, {"(2) PAPER Count(1)"}},
    {"version alone", "VERSION", {}, {"(2) VERSION Count(1)"}},
    {"version too high", "version,15", {}, {"(2) VERSION version 14 < 15"}},
    {"version not an integer", "VERSION,1.0", {}, {"(2) VERSION not numeric \"1.0\""}},
    // OCCURS: copies shifted by each group in turn, the shift carried from group to group.
    {"second OCCURS stops the first", "OCCURS,1,0,10\nBOX,L,0,0,1,1\nOCCURS,2,10,0\nBOX,L,0,50,1,51",
     {"0,0,1,1", "0,10,1,11", "0,50,1,51", "10,50,11,51", "20,50,21,51"}, {}},
    {"zero and negative counts neither copy nor shift", "OCCURS,-3,1,1,0,4,4,2,0,1\nBOX,L,0,0,0,0",
     {"0,0,0,0", "0,1,0,1", "0,2,0,2"}, {}},
    // Each item finds the first definition of its style made so far, and a name
    // defined after an item that missed it is found from then on.
    {"styles defined between their uses",
     "CHAR_SET,A,1\nTEXT,t,A\nTEXT,t,B\nCHAR_SET,B,2,,,A,3\nTEXT,t,B\nTEXT,t,A\n"
     "LINE_SET,M,1,0,L,2,0\nBOX,M\nBOX,L",
     {"BOX|0|M||1|0|0,0,0,0,0,0,0", "BOX|0|L||0|0|0,0,0,0,0,0,0", "TEXT|0|t||1|0|0,0,0,0,0,0,0",
      "TEXT|0|t||2|0|0,0,0,0,0,0,0", "TEXT|0|t||1|0|0,0,0,0,0,0,0"},
     {"(4) TEXT Char name (B) not found"}},
    {"bad OCCURS group skipped", "OCCURS,x,1,1,1,0,5\nTEXT,t,,0,1,2,0,", {"1,2,0,0", "1,7,0,5"},
     {"(2) OCCURS not numeric \"x\""}}};

// At most 100000 items in each list; copies are counted in 64 bits.
struct bound_row {
    const char* tag;
    QByteArray layout;
    int lines, prints;
    QStringList errors;
};
const bound_row bound_rows[] = {
    {"counts summed beyond 32 bits", "OCCURS,2000000000,0,0,2000000000,0,0\nBOX,L\nBOX,L\nBOX,L", 3, 0,
     {"(2) OCCURS OCCURS count too large (12000000003)"}},
    {"exactly 100000 items", "OCCURS,99999,0,0.001\nBOX,L,0,0,1,1", 100000, 0, {}},
    {"one item more", "OCCURS,100000,0,0\nBOX,L,0,0,1,1", 1, 0, {"(2) OCCURS OCCURS count too large (100001)"}},
    {"print list too long: no copies in either", "OCCURS,50000,0,0\nBOX,L,0,0,1,1\nTEXT,a\nTEXT,b", 1, 2,
     {"(2) OCCURS OCCURS count too large (100002)"}},
    {"the bound counts the whole list", "OCCURS,60000,0,0\nBOX,L\nOCCURS,60000,0,0\nBOX,L", 60002, 0,
     {"(4) OCCURS OCCURS count too large (120002)"}},
    {"error named by its OCCURS record", "OCCURS,200000,0,1\nBOX,L\nFOO\nOCCURS,1,0,0,z\nBOX,L", 3, 0,
     {"(4) FOO FOO ?", "(2) OCCURS OCCURS count too large (200001)", "(5) OCCURS not numeric \"z\""}},
    {"huge count with nothing to copy", "OCCURS,2147483647,1,1\nOCCURS,2147483647,1,1\nTEXT_SET", 0, 0,
     {"(4) TEXT_SET TEXT_SET ?"}}};

// clang-format on

} // namespace

class test_layout : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    int file_no = 0;

    // Parses `text` as a layout in test-data mode, where no data file is read.
    std::unique_ptr<session_l<>> parse(const QByteArray& text) {
        const QString layout = put(dir, QStringLiteral("layout%1.csv").arg(++file_no), text);
        auto s =
            std::make_unique<session_l<>>(QStringList{"DATA", dir.filePath("none.txt"), layout});
        s->form->setup_v();
        return s;
    }

private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }

    void command_line_data() { table_data(command_rows, &command_row::tag); }
    void command_line() {
        QFETCH(int, row);
        const command_row& r = command_rows[row];
        session_l<> s(r.args);
        s->read_command_line_v();
        QCOMPARE(s->mode, r.mode);
        QCOMPARE(s->data_name, QString(r.data));
        QCOMPARE(s->layout_name, QString(r.layout));
        QCOMPARE(s->start_page, r.start);
        QCOMPARE(s->end_page, r.end);
        QCOMPARE(s.errors(), *r.error ? QStringList{r.error} : QStringList());
        QCOMPARE(s->error_flag, *r.error ? 1 : 0);
        QCOMPARE(s->ready, *r.error ? 1 : 0); // an error ends the run at once
    }

    void missing_layout() {
        const QString missing = dir.filePath("no/such.csv");
        session_l<> s({"DISPLAY", "/data/dir/form.txt", missing});
        s->setup_v();
        QCOMPARE(s->data_dir, QStringLiteral("/data/dir"));
        QCOMPARE(s.errors(), QStringList{"レイアウト[2] open read error(" + missing + ")"});
        QCOMPARE(s->ready, 1);
        QVERIFY(s->print_items.isEmpty());
        // A bare layout name is looked for in the work directory.
        session_l<> bare({"DATA", "form.txt", "korvan-test-missing.csv"});
        bare->setup_v();
        QCOMPARE(bare->data_dir, QString());
        QCOMPARE(bare.errors(),
                 QStringList{"レイアウト[2] open read error(/home/Q/TMP/korvan-test-missing.csv)"});
    }

    void help_display() {
        session_l<> s;
        s->setup_v();
        QCOMPARE(s->mode, int(form_l::MODE_NONE));
        QCOMPARE(s->paper_name + '|' + s->paper_orientation, QStringLiteral("A4|1"));
        QCOMPARE(s->offsets, (f_l{10.0f, 10.0f}));
        QCOMPARE(s->ready, 1);
        QCOMPARE(s->error_flag, 0);
        QVERIFY(s->line_items.isEmpty());
        QStringList texts;
        for (int i = 0; i < s->print_items.size(); ++i) {
            const qx_print_l* p = s->print_items.at(i);
            QCOMPARE(QString("%1|%2|%3").arg(p->keyword).arg(p->data_flag).arg(p->style),
                     QStringLiteral("TEXT|0|0"));
            if (i > 0) QVERIFY(p->num2 > s->print_items.at(i - 1)->num2); // each line lower
            texts.append(p->text);
        }
        QCOMPARE(form_l::help_lines().size(), 69);
        for (int i = 0; i < 69; ++i)
            QCOMPARE(texts.value(i), QString::fromUtf8(help_expected[i]));
        // Then the installed families, each followed by a comma, as many to a line as
        // fit in 72 columns.
        QStringList fonts{"★フォント一覧{"};
        for (const QString& family : QFontDatabase::families()) {
            if (s.ctx->form_length(fonts.last() + family + ',') > 72) fonts.append(QString());
            fonts.last() += family + ',';
        }
        fonts.last() += '}';
        QCOMPARE(texts.mid(69), fonts);
    }

    void csv_split_data() { table_data(split_rows, &split_row::record); }
    void csv_split() {
        QFETCH(int, row);
        session_l<> s;
        s_l out{"stale"};
        s->csv_split_v(&out, QString::fromUtf8(split_rows[row].record));
        QCOMPARE(out, split_rows[row].fields);
    }

    void whole_layout() {
        const QByteArray layout = "* sample form using every keyword\n"  // 1
                                  "PAPER,A4,2\n"                         // 2
                                  "VERSION,14\n"                         // 3
                                  "LINE_SET,L1,0.5,0,L2,0,1\n"           // 4
                                  "FONT,ipagothic\n"                     // 5
                                  "CHAR_SET,S1,4,,B,S2,0,IPAMincho,I\n"  // 6
                                  "OFFSET,0,0,100,0\n"                   // 7
                                  "LINE,L1,10,20,30,40\n"                // 8
                                  "BOX,L2,1,2,3,4,5,6,7,8\n"             // 9
                                  "X_LINE,L1,10,20,90,30,,40\n"          // 10
                                  "Y_LINE,L2,15,20,80,25\n"              // 11
                                  "ARC,L1,0,0,10,10,90,180\n"            // 12
                                  "TEXT,Title,S1,1.5,10,12,5,r\n"        // 13
                                  "TEXT_FIX,\"a,b\",S2,50,10,20,0,\n"    // 14
                                  "TEXT_V,縦,,0,5,6,1,\n"                // 15
                                  "TEXT_FIX_V,X,S1,60,7,8,2,\n"          // 16
                                  "DATA,S1,,30,40,10,Z,S2,,30,50,10,\n"  // 17
                                  "OCCURS,2,0,10,1,5,0\n"                // 18
                                  "DATA_FIX,S2,80,20,30,8,+\n"           // 19
                                  "BOX,L1,0,0,5,5\n"                     // 20
                                  "DATA_V,,,70,10,4,\n"                  // 21
                                  "DATA_FIX_V,S1,90,75,10,3,D\n"         // 22
                                  "OCCURS,0,0,0\n"                       // 23
                                  "REPLACE_V,ー,｜,（,︵\n"              // 24
                                  "CODE39,,0.3,10,20,100,3,0,2\n"        // 25
                                  "CODE39,ABC,0.2,8,10,110\n"            // 26
                                  "JAN,4901234567894,0.33,15,40,120\n"   // 27
                                  "JAN,,0.33,15,40,130,0.25,12,60,130\n" // 28
                                  "IMAGE,logo.png,5,6,25,26\n"           // 29
                                  "IMAGE,,1,2,3,4\n"                     // 30
                                  "BOX,L2,\\\n"                          // 31
                                  "   50,60,\\\n"                        // 32
                                  "70,80\n"                              // 33
                                  "text,lower,,,1,2,,\n";                // 34
        auto s = parse(layout);
        form_l* f = s->form.get();
        QCOMPARE(s->errors(), QStringList{});
        // clang-format off
        // OCCURS copies at (0,10), (0,20), then (5,20) as the shift carries on.
        const QStringList lines{
            "LINE|0|L1||0|0|10,20,30,40,0,0,0", "BOX|0|L2||1|0|1,2,3,4,0,0,0",
            "BOX|0|L2||1|0|5,6,7,8,0,0,0", "X_LINE|0|L1||0|0|10,20,90,0,0,0,0",
            "X_LINE|0|L1||0|0|10,30,90,0,0,0,0", "X_LINE|0|L1||0|0|10,40,90,0,0,0,0",
            "Y_LINE|0|L2||1|0|15,20,0,80,0,0,0", "Y_LINE|0|L2||1|0|25,20,0,80,0,0,0",
            "ARC|0|L1||0|0|0,0,10,10,90,180,0", "BOX|0|L1||0|0|0,0,5,5,0,0,0",
            "BOX|0|L1||0|0|0,10,5,15,0,0,0", "BOX|0|L1||0|0|0,20,5,25,0,0,0",
            "BOX|0|L1||0|0|5,20,10,25,0,0,0", "BOX|0|L2||1|0|50,60,70,80,0,0,0"};
        // Copies of the items between the OCCURS records; num3 and num4 move too.
        const QStringList prints{
            "TEXT|0|Title|R|1|5|10,12,0,0,1.5,0,0", "TEXT_FIX|0|a,b||2|0|10,20,0,0,50,0,0",
            "TEXT_V|0|縦||0|1|5,6,0,0,0,0,0", "TEXT_FIX_V|0|X||1|2|7,8,0,0,60,0,0",
            "DATA|1||Z|1|10|30,40,0,0,0,0,0", "DATA|2|||2|10|30,50,0,0,0,0,0",
            "DATA_FIX|1||+|2|8|20,30,0,0,80,0,0", "DATA_V|1|||0|4|70,10,0,0,0,0,0",
            "DATA_FIX_V|1||D|1|3|75,10,0,0,90,0,0", "DATA_FIX|1||+|2|8|20,40,0,10,80,0,0",
            "DATA_V|1|||0|4|70,20,0,10,0,0,0", "DATA_FIX_V|1||D|1|3|75,20,0,10,90,0,0",
            "DATA_FIX|1||+|2|8|20,50,0,20,80,0,0", "DATA_V|1|||0|4|70,30,0,20,0,0,0",
            "DATA_FIX_V|1||D|1|3|75,30,0,20,90,0,0", "DATA_FIX|1||+|2|8|25,50,5,20,80,0,0",
            "DATA_V|1|||0|4|75,30,5,20,0,0,0", "DATA_FIX_V|1||D|1|3|80,30,5,20,90,0,0",
            "CODE39|1|||0|0|20,100,0,2,0.3,10,3", "CODE39|0|ABC||0|0|10,110,0,0,0.2,8,0",
            "JAN|0|4901234567894||0|0|40,120,0,0,0.33,15,0", "JAN|1|||0|0|40,130,0,0,0.33,15,0",
            "JAN|2|||0|0|60,130,0,0,0.25,12,0", "IMAGE|0|logo.png||0|0|5,6,25,26,0,0,0",
            "IMAGE|1|||0|0|1,2,3,4,0,0,0", "TEXT|0|lower||0|0|1,2,0,0,0,0,0"};
        // clang-format on
        QCOMPARE(describe_sx(f->line_items), lines);
        QCOMPARE(describe_sx(f->print_items), prints);
        QCOMPARE(f->line_names, (s_l{"L1", "L2"}));
        QCOMPARE(f->line_widths, (f_l{0.5f, 0.1f}));
        QCOMPARE(f->line_kinds, (s_l{"0", "1"}));
        QCOMPARE(f->char_names, (s_l{"", "S1", "S2"}));
        QCOMPARE(f->char_sizes, (f_l{3.5f, 4, 0}));
        QCOMPARE(f->char_fonts, (s_l{"", "IPAGothic", "IPAMincho"}));
        QCOMPARE(f->char_attrs, (s_l{"", "B", "I"}));
        QCOMPARE(f->default_font, QStringLiteral("IPAGothic"));
        QCOMPARE(f->replace_list, (s_l{"ー", "｜", "（", "︵"}));
        QCOMPARE(f->paper_name + '|' + f->paper_orientation, QStringLiteral("A4|2"));
        QCOMPARE(f->required_version, 14);
        QCOMPARE(f->offsets, (f_l{0, 0, 100, 0}));
        // 16 items take a value of their own (4 records, 9 OCCURS copies, CODE39, JAN and
        // IMAGE without a string); two forms a page.
        QCOMPARE(f->values_per_form, 32);
        QCOMPARE(f->ready, 1);
        QCOMPARE(f->data_generated, 1);
    }

    void keyword_items_data() { table_data(keyword_rows, &layout_row::tag); }
    void keyword_items() {
        QFETCH(int, row);
        const layout_row& r = keyword_rows[row];
        auto s = parse("LINE_SET,L,1,0\n" + r.layout);
        QCOMPARE(s->errors(), r.errors);
        QCOMPARE(s->form->error_flag, r.errors.isEmpty() ? 0 : 1);
        QStringList items = describe_sx(s->form->line_items + s->form->print_items);
        for (QString& item : items)
            if (!r.items.value(0).contains('|'))
                item = r.items.value(0).contains(',') ? item.section('|', 6).section(',', 0, 3)
                                                      : item.section('|', 2, 2);
        QCOMPARE(items, r.items);
    }

    void occurs_bound_data() { table_data(bound_rows, &bound_row::tag); }
    void occurs_bound() {
        QFETCH(int, row);
        const bound_row& r = bound_rows[row];
        QElapsedTimer timer;
        timer.start();
        auto s = parse("LINE_SET,L,1,0\n" + r.layout);
        QCOMPARE(s->errors(), r.errors);
        QCOMPARE(s->form->line_items.size(), r.lines);
        QCOMPARE(s->form->print_items.size(), r.prints);
        QVERIFY2(timer.elapsed() < 20000, "a repetition took too long");
    }

    // OFFSET copies draw every item again: more than 100000 items drawn a page is an
    // error named by the last OFFSET record, and the form keeps its first copy.
    void offset_bound() {
        const QByteArray pairs = "OFFSET" + QByteArray(",0,0").repeated(100000);
        const std::tuple<QByteArray, int, QStringList> rows[] = {
            {"OCCURS,49999,0,0\nBOX,L\nOFFSET,0,0,10,0", 2, {}},
            {"OCCURS,50000,0,0\nBOX,L\nOFFSET,0,0,10,0",
             1,
             {"(4) OFFSET OFFSET count too large (100002)"}},
            {pairs + "\nTEXT,a", 100000, {}},
            {pairs + "\nTEXT,a\nOFFSET,1,1\nOFFSET,2,2,\nTEXT,b",
             1,
             {"(5) OFFSET OFFSET count too large (200006)"}},
            {pairs + "\n" + pairs, 200000, {}}};
        for (const auto& [layout, copies, errors] : rows) {
            auto s = parse("LINE_SET,L,1,0\n" + layout);
            QCOMPARE(s->errors(), errors);
            QCOMPARE(s->form->offsets.size(), 2 * copies);
        }
    }

    // The examples parse clean into the items and values per page their comments promise:
    // invoice: 13 rules; 12 texts and values before the rows, 3 row values and 21 copies,
    // 4 after. labels: a box and three values, seven times; two columns. delivery: the
    // frame and six rules; 8 texts and values, 1 row value and 3 copies, 1 text.
    void examples() {
        const std::tuple<const char*, int, int, int> rows[] = {
            {"invoice", 13, 40, 30}, {"labels", 7, 21, 42}, {"delivery", 7, 13, 8}};
        for (const auto& [name, lines, prints, values] : rows) {
            const QString dir = KORVAN_SOURCE_DIR "/examples/" + QString(name);
            session_l<> s({"DATA", "none.txt", dir + '/' + name + ".csv"});
            s->setup_v();
            QCOMPARE(s.errors(), QStringList{});
            QCOMPARE(QList<int>({int(s->line_items.size()), int(s->print_items.size()),
                                 s->values_per_form}),
                     QList<int>({lines, prints, values}));
        }
    }
};

QTEST_MAIN(test_layout)
#include "test_layout.moc"
