// The layout subsystem: command line, help display, layout reader, keywords, OCCURS and
// OFFSET, and the error list. Every expected value below was worked out by hand from
// the layout rules, not taken from the program's output.
#include "core/qx_z.h"
#include "core/textfile.h"
#include "layout/form.h"

#include <QFontDatabase>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

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

// A context and an engine made from a command line, as the program makes them.
struct session_l {
    std::unique_ptr<qx_z_l> ctx;
    std::unique_ptr<form_l> form;

    explicit session_l(const QStringList& args) {
        QList<QByteArray> bytes{QByteArray("korvan")};
        for (const QString& a : args)
            bytes.append(a.toLocal8Bit());
        std::vector<char*> argv;
        for (QByteArray& b : bytes)
            argv.push_back(b.data());
        argv.push_back(nullptr);
        ctx = std::make_unique<qx_z_l>(QStringLiteral("KORVAN"), int(bytes.size()), argv.data());
        form = std::make_unique<form_l>(ctx.get());
    }
    // The error lines after the banner.
    QStringList errors() const { return form->error_list.mid(1); }
};

// "KEYWORD|flag|text|edit|style|count|num1,...,num7"
QString describe_s(const qx_print_l* p) {
    QStringList nums;
    for (float v : {p->num1, p->num2, p->num3, p->num4, p->num5, p->num6, p->num7})
        nums.append(QString::number(double(v), 'g', 7));
    return QStringList{p->keyword,
                       QString::number(p->data_flag),
                       p->text,
                       p->edit,
                       QString::number(p->style),
                       QString::number(p->count),
                       nums.join(QLatin1Char(','))}
        .join(QLatin1Char('|'));
}

QStringList describe_sx(const p_l& items) {
    QStringList out;
    for (const qx_print_l* p : items)
        out.append(describe_s(p));
    return out;
}

QStringList floats_sx(const f_l& list) {
    QStringList out;
    for (float v : list)
        out.append(QString::number(double(v), 'g', 7));
    return out;
}

} // namespace

class test_layout : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    int file_no = 0;

    // Writes `text` (UTF-8, exactly as given) to a new layout file and returns its path.
    QString layout_file(const QByteArray& text) {
        const QString path = dir.filePath(QStringLiteral("layout%1.csv").arg(++file_no));
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly)) qFatal("cannot write %s", qPrintable(path));
        f.write(text);
        return path;
    }

    // Parses `text` as a layout in test-data mode, where no data file is read.
    std::unique_ptr<session_l> parse(const QByteArray& text) {
        auto s = std::make_unique<session_l>(QStringList{
            QStringLiteral("DATA"), dir.filePath(QStringLiteral("none.txt")), layout_file(text)});
        s->form->setup_v();
        return s;
    }

private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }

    // ---------------------------------------------------------------- command line
    void command_line_data();
    void command_line();
    void missing_layout();
    void help_display();

    // ---------------------------------------------------------------- reader
    void csv_split_data();
    void csv_split();
    void records_data();
    void records();
    void read_error();

    // ---------------------------------------------------------------- keywords
    void whole_layout();
    void keyword_items_data();
    void keyword_items();
    void styles_and_settings();
    void errors_data();
    void errors();
    void errors_in_file_order();
    void errors_on_stderr();

    // ---------------------------------------------------------------- repetition
    void occurs_data();
    void occurs();
    void occurs_bound_data();
    void occurs_bound();
    void values_per_page_data();
    void values_per_page();
    void examples_data();
    void examples();
};

// ==================================================================== command line

void test_layout::command_line_data() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("layout");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<QStringList>("errors");

    const QString d = QStringLiteral("KORVAN.TXT"), l = QStringLiteral("KORVAN.CSV");
    const QStringList none;
    QTest::newRow("no arguments") << QStringList{} << 0 << d << l << 1 << 0 << none;
    QTest::newRow("print lower case") << QStringList{"print"} << 3 << d << l << 1 << 0 << none;
    QTest::newRow("REAL") << QStringList{"REAL"} << 3 << d << l << 1 << 0 << none;
    QTest::newRow("display") << QStringList{"Display"} << 2 << d << l << 1 << 0 << none;
    QTest::newRow("TEST") << QStringList{"test"} << 2 << d << l << 1 << 0 << none;
    QTest::newRow("DATA") << QStringList{"data"} << 1 << d << l << 1 << 0 << none;
    QTest::newRow("TEST_DATA") << QStringList{"Test_Data"} << 1 << d << l << 1 << 0 << none;
    QTest::newRow("DISPLAY_DATA is no mode")
        << QStringList{"DISPLAY_DATA"} << 0 << d << l << 1 << 0 << none;
    QTest::newRow("two arguments")
        << QStringList{"DISPLAY", "my.txt"} << 2 << "my.txt" << l << 1 << 0 << none;
    QTest::newRow("pages read whatever the mode")
        << QStringList{"HELP", "a", "b", "4", "6"} << 0 << "a"
        << "b" << 4 << 6 << none;
    QTest::newRow("start 0 end 0 all pages")
        << QStringList{"DISPLAY", "a", "b", "0", "0"} << 2 << "a"
        << "b" << 1 << 0 << none;
    QTest::newRow("empty page numbers") << QStringList{"DISPLAY", "", "", "", ""} << 2 << ""
                                        << "" << 1 << 0 << none;
    QTest::newRow("one page") << QStringList{"PRINT", "a", "b", "2", "2"} << 3 << "a"
                              << "b" << 2 << 2 << none;
    QTest::newRow("end before start") << QStringList{"DISPLAY", "a", "b", "3", "2"} << 2 << "a"
                                      << "b" << 3 << 2 << QStringList{"終了[5] (2) error"};
    QTest::newRow("negative start") << QStringList{"DISPLAY", "a", "b", "-1"} << 2 << "a"
                                    << "b" << -1 << 0 << QStringList{"開始[4] (-1) error"};
    QTest::newRow("negative end") << QStringList{"DISPLAY", "a", "b", "1", "-5"} << 2 << "a"
                                  << "b" << 1 << -5 << QStringList{"終了[5] (-5) error"};
    QTest::newRow("start not a number")
        << QStringList{"DISPLAY", "a", "b", "abc", "1"} << 2 << "a"
        << "b" << 1 << 0 << QStringList{"開始[4] not numeric \"abc\""};
    QTest::newRow("end not a number")
        << QStringList{"DISPLAY", "a", "b", "1", "1.5"} << 2 << "a"
        << "b" << 1 << 0 << QStringList{"終了[5] not numeric \"1.5\""};
}

void test_layout::command_line() {
    QFETCH(QStringList, args);
    QFETCH(int, mode);
    QFETCH(QString, data);
    QFETCH(QString, layout);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(QStringList, errors);

    session_l s(args);
    s.form->read_command_line_v();
    QCOMPARE(s.form->mode, mode);
    QCOMPARE(s.form->data_name, data);
    QCOMPARE(s.form->layout_name, layout);
    QCOMPARE(s.form->start_page, start);
    QCOMPARE(s.form->end_page, end);
    QCOMPARE(s.errors(), errors);
    QCOMPARE(s.form->error_flag, errors.isEmpty() ? 0 : 1);
    // A command-line error ends the run and is shown at once.
    QCOMPARE(s.form->ready, errors.isEmpty() ? 0 : 1);
}

void test_layout::missing_layout() {
    const QString missing = dir.filePath(QStringLiteral("no/such.csv"));
    session_l s({QStringLiteral("DISPLAY"), QStringLiteral("/data/dir/form.txt"), missing});
    s.form->setup_v();
    QCOMPARE(s.form->data_dir, QStringLiteral("/data/dir"));
    QCOMPARE(s.errors(),
             QStringList{QStringLiteral("レイアウト[2] open read error(") + missing + ")"});
    QCOMPARE(s.form->ready, 1);
    QVERIFY(s.form->print_items.isEmpty());

    // A bare name is looked for in the work directory; a data name without a directory
    // has no data directory.
    session_l bare({QStringLiteral("DATA"), QStringLiteral("form.txt"),
                    QStringLiteral("korvan-test-missing.csv")});
    bare.form->setup_v();
    QCOMPARE(bare.form->data_dir, QString());
    QCOMPARE(bare.errors(),
             QStringList{QStringLiteral(
                 "レイアウト[2] open read error(/home/Q/TMP/korvan-test-missing.csv)")});
}

void test_layout::help_display() {
    session_l s({});
    s.form->setup_v();
    form_l* f = s.form.get();
    QCOMPARE(f->mode, int(form_l::MODE_NONE));
    QCOMPARE(f->paper_name, QStringLiteral("A4"));
    QCOMPARE(f->paper_orientation, QStringLiteral("1"));
    QCOMPARE(f->offsets, (f_l{10.0f, 10.0f}));
    QCOMPARE(f->ready, 1);
    QCOMPARE(f->error_flag, 0);
    QVERIFY(f->line_items.isEmpty());

    QCOMPARE(int(std::size(help_expected)), 69);
    QCOMPARE(form_l::help_lines().size(), 69);
    QVERIFY(f->print_items.size() > 69);
    for (int i = 0; i < 69; ++i)
        QCOMPARE(f->print_items.at(i)->text, QString::fromUtf8(help_expected[i]));

    // Every line is a plain text item, each one below the one before.
    for (int i = 0; i < f->print_items.size(); ++i) {
        const qx_print_l* p = f->print_items.at(i);
        QCOMPARE(p->keyword, QStringLiteral("TEXT"));
        QCOMPARE(p->data_flag, 0);
        QCOMPARE(p->style, 0);
        if (i > 0) QVERIFY(p->num2 > f->print_items.at(i - 1)->num2);
    }

    // The font lines: every family followed by a comma, lines broken only between
    // families, each line as full as 72 columns allow.
    QStringList lines;
    for (int i = 69; i < f->print_items.size(); ++i)
        lines.append(f->print_items.at(i)->text);
    QString all = QStringLiteral("★フォント一覧{");
    const QStringList families = QFontDatabase::families();
    QVERIFY(!families.isEmpty());
    for (const QString& family : families)
        all += family + QLatin1Char(',');
    all += QLatin1Char('}');
    QCOMPARE(lines.join(QString()), all);
    QVERIFY(lines.first().startsWith(QStringLiteral("★フォント一覧{")));

    int line = 0;
    QString rest = lines.at(0).mid(QStringLiteral("★フォント一覧{").size());
    for (const QString& family : families) {
        const QString piece = family + QLatin1Char(',');
        if (!rest.startsWith(piece)) {
            // The line ended here: it was full, and the next one starts with this family.
            QVERIFY2(rest.isEmpty(), qPrintable(lines.at(line)));
            QVERIFY2(s.ctx->form_length(lines.at(line) + piece) > 72, qPrintable(lines.at(line)));
            ++line;
            QVERIFY(line < lines.size());
            rest = lines.at(line);
            QVERIFY2(rest.startsWith(piece), qPrintable(rest));
        }
        rest = rest.mid(piece.size());
    }
    QCOMPARE(rest, QStringLiteral("}"));
    QCOMPARE(line, lines.size() - 1);
    for (int i = 0; i + 1 < lines.size(); ++i)
        QVERIFY2(s.ctx->form_length(lines.at(i)) <= 72, qPrintable(lines.at(i)));
}

// ==================================================================== reader

void test_layout::csv_split_data() {
    QTest::addColumn<QString>("record");
    QTest::addColumn<QStringList>("fields");

    QTest::newRow("final comma") << "A,B," << QStringList{"A", "B", ""};
    QTest::newRow("empty record") << "" << QStringList{""};
    QTest::newRow("blanks around") << "  a  , b ,c  " << QStringList{"a", "b", "c"};
    QTest::newRow("tabs and ideographic spaces")
        << QString::fromUtf8("\tA\t,\u3000B\u3000") << QStringList{"A", "B"};
    QTest::newRow("quoted with blanks outside") << "  \"x\"  " << QStringList{"x"};
    QTest::newRow("blanks inside quotes kept") << "\" a \",b" << QStringList{" a ", "b"};
    QTest::newRow("comma inside quotes") << "\"a,b\",c" << QStringList{"a,b", "c"};
    QTest::newRow("doubled quote unquoted") << "a\"\"b" << QStringList{"a\"b"};
    QTest::newRow("doubled quote quoted") << "\"a\"\"b\"" << QStringList{"a\"b"};
    QTest::newRow("quote pair only") << "\"\"\"\",x" << QStringList{"\"", "x"};
    QTest::newRow("two quotes make empty") << "\"\"" << QStringList{""};
    QTest::newRow("single quote char") << "\"" << QStringList{"\""};
    QTest::newRow("quotes not enclosing stay") << "x\"y\",z" << QStringList{"x\"y\"", "z"};
    QTest::newRow("unbalanced quote takes the rest") << "a,\"b,c" << QStringList{"a", "\"b,c"};
}

void test_layout::csv_split() {
    QFETCH(QString, record);
    QFETCH(QStringList, fields);
    session_l s({});
    s_l out{QStringLiteral("stale")};
    s.form->csv_split_v(&out, record);
    QCOMPARE(out, fields);
}

// Records are seen through the errors of unknown keywords, which name the line.
void test_layout::records_data() {
    QTest::addColumn<QByteArray>("layout");
    QTest::addColumn<QStringList>("errors");
    QTest::addColumn<QStringList>("texts");

    const QStringList none;
    QTest::newRow("line numbers count every line")
        << QByteArray("\n   \n*comment\nFOO\nBAR,1\n")
        << QStringList{"(4) FOO FOO ?", "(5) BAR BAR ?"} << none;
    QTest::newRow("keyword upper-cased")
        << QByteArray("foo,x") << QStringList{"(1) FOO FOO ?"} << none;
    QTest::newRow("last line without line end")
        << QByteArray("TEXT,a\nTEXT,b") << none << QStringList{"a", "b"};
    QTest::newRow("CR LF line ends") << QByteArray("TEXT,a\r\nFOO\r\nTEXT,b\r\n")
                                     << QStringList{"(2) FOO FOO ?"} << QStringList{"a", "b"};
    QTest::newRow("continued record has the last line's number")
        << QByteArray("FOO,\\\n1,\\\n2\nBAR") << QStringList{"(3) FOO FOO ?", "(4) BAR BAR ?"}
        << none;
    QTest::newRow("continuation drops leading blanks, keeps blanks before backslash")
        << QByteArray("TEXT,ab \\\n   cd\\\n  ef\n") << none << QStringList{"ab cdef"};
    QTest::newRow("continuation adds no separator")
        << QByteArray("TEXT,ab\\\ncd") << none << QStringList{"abcd"};
    QTest::newRow("empty line ends a continued record")
        << QByteArray("FOO,\\\n\nBAR") << QStringList{"(2) FOO FOO ?", "(3) BAR BAR ?"} << none;
    QTest::newRow("record cut off by the end of the file is dropped")
        << QByteArray("TEXT,a\nFOO,\\") << none << QStringList{"a"};
    QTest::newRow("cut off after several lines")
        << QByteArray("TEXT,a\nFOO,\\\nBAR,\\\n") << none << QStringList{"a"};
    QTest::newRow("comment") << QByteArray("*FOO\n* BAR\nTEXT,a") << none << QStringList{"a"};
    QTest::newRow("blank before star is no comment")
        << QByteArray("   *FOO,1\nTEXT,a") << QStringList{"(1) *FOO *FOO ?"} << QStringList{"a"};
    QTest::newRow("tab before star is no comment")
        << QByteArray("\t*FOO,1") << QStringList{"(1) *FOO *FOO ?"} << none;
    QTest::newRow("continued comment")
        << QByteArray("*FOO,\\\nBAR\nTEXT,a") << none << QStringList{"a"};
    QTest::newRow("quoted comma in a text")
        << QByteArray("TEXT,\"x, y\"") << none << QStringList{"x, y"};
}

void test_layout::records() {
    QFETCH(QByteArray, layout);
    QFETCH(QStringList, errors);
    QFETCH(QStringList, texts);
    auto s = parse(layout);
    QCOMPARE(s->errors(), errors);
    QStringList got;
    for (const qx_print_l* p : s->form->print_items)
        got.append(p->text);
    QCOMPARE(got, texts);
}

void test_layout::read_error() {
    // Reading /proc/self/mem from its start fails: the first page is never mapped.
    QFile probe(QStringLiteral("/proc/self/mem"));
    if (!probe.open(QIODevice::ReadOnly)) QSKIP("no /proc/self/mem");
    char byte;
    if (probe.read(&byte, 1) >= 0) QSKIP("/proc/self/mem reads without error");
    probe.close();

    session_l s({});
    QVERIFY(
        s.form->layout_reader->open_b(QStringLiteral("/proc/self/mem"), QStringLiteral("UTF-8")));
    s.form->read_layout_v();
    QCOMPARE(s.errors(), QStringList{"レイアウト[2] read error(/proc/self/mem)"});
    QCOMPARE(s.form->layout_line_no, 1);
    QVERIFY(s.form->at_eof);
}

// ==================================================================== keywords

void test_layout::whole_layout() {
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

    const QStringList lines = {
        "LINE|0|L1||0|0|10,20,30,40,0,0,0",
        "BOX|0|L2||1|0|1,2,3,4,0,0,0",
        "BOX|0|L2||1|0|5,6,7,8,0,0,0",
        "X_LINE|0|L1||0|0|10,20,90,0,0,0,0",
        "X_LINE|0|L1||0|0|10,30,90,0,0,0,0",
        "X_LINE|0|L1||0|0|10,40,90,0,0,0,0",
        "Y_LINE|0|L2||1|0|15,20,0,80,0,0,0",
        "Y_LINE|0|L2||1|0|25,20,0,80,0,0,0",
        "ARC|0|L1||0|0|0,0,10,10,90,180,0",
        "BOX|0|L1||0|0|0,0,5,5,0,0,0",
        // The OCCURS copies: (0,10), (0,20), then (5,20) as the shift carries on.
        "BOX|0|L1||0|0|0,10,5,15,0,0,0",
        "BOX|0|L1||0|0|0,20,5,25,0,0,0",
        "BOX|0|L1||0|0|5,20,10,25,0,0,0",
        "BOX|0|L2||1|0|50,60,70,80,0,0,0",
    };
    QCOMPARE(describe_sx(f->line_items), lines);

    const QStringList prints = {
        "TEXT|0|Title|R|1|5|10,12,0,0,1.5,0,0",
        "TEXT_FIX|0|a,b||2|0|10,20,0,0,50,0,0",
        "TEXT_V|0|縦||0|1|5,6,0,0,0,0,0",
        "TEXT_FIX_V|0|X||1|2|7,8,0,0,60,0,0",
        "DATA|1||Z|1|10|30,40,0,0,0,0,0",
        "DATA|2|||2|10|30,50,0,0,0,0,0",
        "DATA_FIX|1||+|2|8|20,30,0,0,80,0,0",
        "DATA_V|1|||0|4|70,10,0,0,0,0,0",
        "DATA_FIX_V|1||D|1|3|75,10,0,0,90,0,0",
        // Copies of the three items between the OCCURS records; num3 and num4 move too.
        "DATA_FIX|1||+|2|8|20,40,0,10,80,0,0",
        "DATA_V|1|||0|4|70,20,0,10,0,0,0",
        "DATA_FIX_V|1||D|1|3|75,20,0,10,90,0,0",
        "DATA_FIX|1||+|2|8|20,50,0,20,80,0,0",
        "DATA_V|1|||0|4|70,30,0,20,0,0,0",
        "DATA_FIX_V|1||D|1|3|75,30,0,20,90,0,0",
        "DATA_FIX|1||+|2|8|25,50,5,20,80,0,0",
        "DATA_V|1|||0|4|75,30,5,20,0,0,0",
        "DATA_FIX_V|1||D|1|3|80,30,5,20,90,0,0",
        "CODE39|1|||0|0|20,100,0,2,0.3,10,3",
        "CODE39|0|ABC||0|0|10,110,0,0,0.2,8,0",
        "JAN|0|4901234567894||0|0|40,120,0,0,0.33,15,0",
        "JAN|1|||0|0|40,130,0,0,0.33,15,0",
        "JAN|2|||0|0|60,130,0,0,0.25,12,0",
        "IMAGE|0|logo.png||0|0|5,6,25,26,0,0,0",
        "IMAGE|1|||0|0|1,2,3,4,0,0,0",
        "TEXT|0|lower||0|0|1,2,0,0,0,0,0",
    };
    QCOMPARE(describe_sx(f->print_items), prints);

    QCOMPARE(f->line_names, (s_l{"L1", "L2"}));
    QCOMPARE(floats_sx(f->line_widths), (QStringList{"0.5", "0.1"}));
    QCOMPARE(f->line_kinds, (s_l{"0", "1"}));
    QCOMPARE(f->char_names, (s_l{"", "S1", "S2"}));
    QCOMPARE(floats_sx(f->char_sizes), (QStringList{"3.5", "4", "0"}));
    QCOMPARE(f->char_fonts, (s_l{"", "IPAGothic", "IPAMincho"}));
    QCOMPARE(f->char_attrs, (s_l{"", "B", "I"}));
    QCOMPARE(f->default_font, QStringLiteral("IPAGothic"));
    QCOMPARE(f->replace_list, (s_l{"ー", "｜", "（", "︵"}));
    QCOMPARE(f->paper_name, QStringLiteral("A4"));
    QCOMPARE(f->paper_orientation, QStringLiteral("2"));
    QCOMPARE(f->required_version, 14);
    QCOMPARE(floats_sx(f->offsets), (QStringList{"0", "0", "100", "0"}));
    // 16 items take a value of their own (4 records, 9 OCCURS copies, CODE39, JAN and
    // IMAGE without a string); two forms a page.
    QCOMPARE(f->values_per_form, 32);
    QCOMPARE(f->ready, 1);
    QCOMPARE(f->data_generated, 1);
}

// Layouts below start with the line style L (index 0) on line 1, so that their own
// records begin on line 2.
void test_layout::keyword_items_data() {
    QTest::addColumn<QByteArray>("layout");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("prints");
    QTest::addColumn<QStringList>("errors");

    const QStringList none;
    QTest::newRow("line filled to one group")
        << QByteArray("LINE,L") << QStringList{"LINE|0|L||0|0|0,0,0,0,0,0,0"} << none << none;
    QTest::newRow("last group filled")
        << QByteArray("LINE,L,1,2,3,4,5")
        << QStringList{"LINE|0|L||0|0|1,2,3,4,0,0,0", "LINE|0|L||0|0|5,0,0,0,0,0,0"} << none
        << none;
    QTest::newRow("arc groups of six")
        << QByteArray("ARC,L,1,2,3,4,5,6,7")
        << QStringList{"ARC|0|L||0|0|1,2,3,4,5,6,0", "ARC|0|L||0|0|7,0,0,0,0,0,0"} << none << none;
    QTest::newRow("x_line alone") << QByteArray("X_LINE,L")
                                  << QStringList{"X_LINE|0|L||0|0|0,0,0,0,0,0,0"} << none << none;
    QTest::newRow("x_line further y values, empty ones skipped")
        << QByteArray("X_LINE,L,1,2,3,,4,,5")
        << QStringList{"X_LINE|0|L||0|0|1,2,3,0,0,0,0", "X_LINE|0|L||0|0|1,4,3,0,0,0,0",
                       "X_LINE|0|L||0|0|1,5,3,0,0,0,0"}
        << none << none;
    QTest::newRow("y_line further x values")
        << QByteArray("Y_LINE,L,1,2,3,7,,8")
        << QStringList{"Y_LINE|0|L||0|0|1,2,0,3,0,0,0", "Y_LINE|0|L||0|0|7,2,0,3,0,0,0",
                       "Y_LINE|0|L||0|0|8,2,0,3,0,0,0"}
        << none << none;
    QTest::newRow("bad number ends a line record")
        << QByteArray("BOX,L,1,2,3,4,5,x,7,8,9,10,11,12")
        << QStringList{"BOX|0|L||0|0|1,2,3,4,0,0,0"} << none
        << QStringList{"(2) BOX not numeric \"x\""};
    QTest::newRow("bad further y ends an x_line")
        << QByteArray("X_LINE,L,1,2,3,4,y,5")
        << QStringList{"X_LINE|0|L||0|0|1,2,3,0,0,0,0", "X_LINE|0|L||0|0|1,4,3,0,0,0,0"} << none
        << QStringList{"(2) X_LINE not numeric \"y\""};
    QTest::newRow("unknown line name drops the record")
        << QByteArray("BOX,M,1,2,3,4,5,6,7,8") << none << none
        << QStringList{"(2) BOX Line name (M) not found"};
    QTest::newRow("line names are case-sensitive")
        << QByteArray("Y_LINE,l,1,2,3") << none << none
        << QStringList{"(2) Y_LINE Line name (l) not found"};
    QTest::newRow("text filled to one group")
        << QByteArray("TEXT,hello") << none << QStringList{"TEXT|0|hello||0|0|0,0,0,0,0,0,0"}
        << none;
    QTest::newRow("bad text group skipped, the next one read")
        << QByteArray("TEXT,t,,1,x,2,0,,,0,3,4,0,r") << none
        << QStringList{"TEXT|0|t|R|0|0|3,4,0,0,0,0,0"} << QStringList{"(2) TEXT not numeric \"x\""};
    QTest::newRow("count is an integer") << QByteArray("TEXT,t,,0,1,1,2.5,") << none << none
                                         << QStringList{"(2) TEXT not numeric \"2.5\""};
    QTest::newRow("negative numbers") << QByteArray("TEXT,t,,-1,-2,-3,-4,e") << none
                                      << QStringList{"TEXT|0|t|E|0|-4|-2,-3,0,0,-1,0,0"} << none;
    QTest::newRow("data: unknown style skips only its group")
        << QByteArray("DATA_V,S9,,1,1,0,,,,2,2,0,") << none
        << QStringList{"DATA_V|2|||0|0|2,2,0,0,0,0,0"}
        << QStringList{"(2) DATA_V Char name (S9) not found"};
    QTest::newRow("data groups: first takes the value, the rest repeat it")
        << QByteArray("DATA,,,1,2,3,x,,,4,5,6,y,,,7,8,9,z") << none
        << QStringList{"DATA|1||X|0|3|1,2,0,0,0,0,0", "DATA|2||Y|0|6|4,5,0,0,0,0,0",
                       "DATA|2||Z|0|9|7,8,0,0,0,0,0"}
        << none;
    QTest::newRow("image: bad group skipped, later ones read")
        << QByteArray("IMAGE,,1,2,3,4,a,6,7,8,9,10,11,12") << none
        << QStringList{"IMAGE|1|||0|0|1,2,3,4,0,0,0", "IMAGE|2|||0|0|9,10,11,12,0,0,0"}
        << QStringList{"(2) IMAGE not numeric \"a\""};
    QTest::newRow("code39 filled")
        << QByteArray("CODE39,X") << none << QStringList{"CODE39|0|X||0|0|0,0,0,0,0,0,0"} << none;
    QTest::newRow("code39 slots") << QByteArray("CODE39,,1,2,3,4,5,6,7") << none
                                  << QStringList{"CODE39|1|||0|0|3,4,6,7,1,2,5"} << none;
    QTest::newRow("jan with a string, two groups")
        << QByteArray("JAN,123,1,2,3,4,5") << none
        << QStringList{"JAN|0|123||0|0|3,4,0,0,1,2,0", "JAN|0|123||0|0|0,0,0,0,5,0,0"} << none;
    QTest::newRow("empty keyword") << QByteArray(",a") << none << none << QStringList{"(2)   ?"};
}

void test_layout::keyword_items() {
    QFETCH(QByteArray, layout);
    QFETCH(QStringList, lines);
    QFETCH(QStringList, prints);
    QFETCH(QStringList, errors);
    auto s = parse("LINE_SET,L,1,0\n" + layout);
    QCOMPARE(s->errors(), errors);
    QCOMPARE(describe_sx(s->form->line_items), lines);
    QCOMPARE(describe_sx(s->form->print_items), prints);
}

void test_layout::styles_and_settings() {
    {
        // No width or a negative one draws the thinnest line; the kind stays text.
        auto s = parse("LINE_SET,A,-1,2,B,,,C,0.25\nLINE_SET,D,w,1,E,1,9");
        QCOMPARE(s->form->line_names, (s_l{"A", "B", "C", "E"}));
        QCOMPARE(floats_sx(s->form->line_widths), (QStringList{"0.1", "0.1", "0.25", "1"}));
        QCOMPARE(s->form->line_kinds, (s_l{"2", "", "", "9"}));
        QCOMPARE(s->errors(), QStringList{"(2) LINE_SET not numeric \"w\""});
    }
    {
        // The first of two styles of one name is the one found.
        auto s = parse("LINE_SET,A,1,0,A,2,0\nCHAR_SET,S,1,,,S,2\nBOX,A\nTEXT,t,S");
        QCOMPARE(s->form->line_items.at(0)->style, 0);
        QCOMPARE(s->form->print_items.at(0)->style, 1);
    }
    {
        // Size 0: the data carries the size; no font: the default one.
        auto s = parse("CHAR_SET,S1,0,,B\nFONT,MS Mincho\nCHAR_SET,S2,2.5,,bi,S3,1,IPAPGothic,");
        QCOMPARE(s->errors(), QStringList{});
        QCOMPARE(s->form->char_names, (s_l{"", "S1", "S2", "S3"}));
        QCOMPARE(floats_sx(s->form->char_sizes), (QStringList{"3.5", "0", "2.5", "1"}));
        QCOMPARE(s->form->char_fonts, (s_l{"", "MS Gothic", "MS Mincho", "IPAPGothic"}));
        QCOMPARE(s->form->char_attrs, (s_l{"", "B", "bi", ""}));
    }
    {
        // A style whose font is missing is still defined, so only the font is reported.
        auto s = parse("CHAR_SET,S1,3,No Such Font,\nTEXT,t,S1");
        QCOMPARE(s->errors(), QStringList{"(1) CHAR_SET FONT(No Such Font) not found"});
        QCOMPARE(s->form->char_fonts.at(1), QStringLiteral("No Such Font"));
        QCOMPARE(s->form->print_items.size(), 1);
    }
    {
        // PAPER with only a size keeps the default orientation; the last PAPER holds.
        auto s = parse("PAPER,B5");
        QCOMPARE(s->form->paper_name, QStringLiteral("B5"));
        QCOMPARE(s->form->paper_orientation, QString());
        auto t = parse("PAPER,A3,2\nPAPER,b4,1");
        QCOMPARE(t->form->paper_name, QStringLiteral("b4"));
        QCOMPARE(t->form->paper_orientation, QStringLiteral("1"));
    }
    {
        // Offsets in pairs; a pair that does not convert is left out whole.
        auto s = parse("OFFSET,1,2,3\nOFFSET,4,x,5,6\nOFFSET");
        QCOMPARE(floats_sx(s->form->offsets),
                 (QStringList{"1", "2", "3", "0", "5", "6", "0", "0"}));
        QCOMPARE(s->errors(), QStringList{"(2) OFFSET not numeric \"x\""});
    }
    {
        auto s = parse("REPLACE_V,a,b\nREPLACE_V\nREPLACE_V,c,d,e\nREPLACE_V,\"\",f");
        QCOMPARE(s->form->replace_list, (s_l{"a", "b", "", "f"}));
        QCOMPARE(s->errors(), QStringList{"(3) REPLACE_V not even"});
    }
    {
        auto s = parse("VERSION,14\nVERSION,-3\nVERSION,");
        QCOMPARE(s->errors(), QStringList{});
        QCOMPARE(s->form->required_version, 0);
    }
}

void test_layout::errors_data() {
    QTest::addColumn<QByteArray>("layout");
    QTest::addColumn<QStringList>("errors");

    QTest::newRow("unknown keyword") << QByteArray("page,1") << QStringList{"(1) PAGE PAGE ?"};
    QTest::newRow("char_set font") << QByteArray("CHAR_SET,S1,3,No Such Font,B")
                                   << QStringList{"(1) CHAR_SET FONT(No Such Font) not found"};
    QTest::newRow("font not installed")
        << QByteArray("FONT,No Such Font") << QStringList{"(1) FONT FONT(No Such Font) not found"};
    QTest::newRow("font alone") << QByteArray("FONT") << QStringList{"(1) FONT FONT,(FONT Name)"};
    QTest::newRow("font twice") << QByteArray("FONT,IPAGothic,IPAMincho")
                                << QStringList{"(1) FONT FONT,(FONT Name)"};
    QTest::newRow("font empty") << QByteArray("FONT,") << QStringList{"(1) FONT FONT,(FONT Name)"};
    QTest::newRow("replace_v odd")
        << QByteArray("REPLACE_V,a,b,c") << QStringList{"(1) REPLACE_V not even"};
    QTest::newRow("paper alone") << QByteArray("PAPER") << QStringList{"(1) PAPER Count(1)"};
    QTest::newRow("paper four") << QByteArray("PAPER,A4,1,x") << QStringList{"(1) PAPER Count(4)"};
    QTest::newRow("version alone") << QByteArray("VERSION") << QStringList{"(1) VERSION Count(1)"};
    QTest::newRow("version too high")
        << QByteArray("version,15") << QStringList{"(1) VERSION version 14 < 15"};
    QTest::newRow("version not an integer")
        << QByteArray("VERSION,1.0") << QStringList{"(1) VERSION not numeric \"1.0\""};
}

void test_layout::errors() {
    QFETCH(QByteArray, layout);
    QFETCH(QStringList, errors);
    auto s = parse(layout);
    QCOMPARE(s->errors(), errors);
    QCOMPARE(s->form->error_flag, 1);
}

void test_layout::errors_in_file_order() {
    const QByteArray layout = "LINE_SET,L,0.2,0\n"       // 1
                              "* a comment\n"            // 2
                              "\n"                       // 3
                              "BOX,M,1,1,2,2\n"          // 4
                              "TEXT,ok\n"                // 5
                              "TEXT,a,\\\n"              // 6
                              "  S9,,1,1,0,\n"           // 7
                              "BOX,L,1,1,2,2,3,3,x,4\n"  // 8
                              "PAPER,A4,1,1\n"           // 9
                              "CODE39,,1,2,3,4,5,6,7\n"; // 10
    auto s = parse(layout);
    QCOMPARE(s->errors(),
             (QStringList{"(4) BOX Line name (M) not found", "(7) TEXT Char name (S9) not found",
                          "(8) BOX not numeric \"x\"", "(9) PAPER Count(4)"}));
    // Parsing went on after each error.
    QCOMPARE(s->form->line_items.size(), 1);
    QCOMPARE(s->form->print_items.size(), 2);
    QCOMPARE(s->form->error_flag, 1);
}

void test_layout::errors_on_stderr() {
    QTemporaryFile capture;
    QVERIFY(capture.open());
    std::fflush(stderr);
    const int saved = dup(2);
    QVERIFY(saved >= 0);
    dup2(capture.handle(), 2);
    auto s = parse("FOO\nTEXT,a,Ｓ９\n");
    std::fflush(stderr);
    dup2(saved, 2);
    close(saved);
    QFile written(capture.fileName());
    QVERIFY(written.open(QIODevice::ReadOnly));
    // The banner is not an error; each error line goes out as it is, in UTF-8.
    QCOMPARE(written.readAll(), QByteArray("(1) FOO FOO ?\n(2) TEXT Char name (Ｓ９) not found\n"));
}

// ==================================================================== repetition

namespace {
// "num1,num2,num3,num4" of each item.
QStringList corners_sx(const p_l& items) {
    QStringList out;
    for (const qx_print_l* p : items)
        out.append(QStringLiteral("%1,%2,%3,%4")
                       .arg(double(p->num1))
                       .arg(double(p->num2))
                       .arg(double(p->num3))
                       .arg(double(p->num4)));
    return out;
}
} // namespace

void test_layout::occurs_data() {
    QTest::addColumn<QByteArray>("layout");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("prints");
    QTest::addColumn<QStringList>("errors");

    const QStringList none;
    QTest::newRow("three copies lower")
        << QByteArray("OCCURS,3,0,5\nBOX,L,0,0,10,10")
        << QStringList{"0,0,10,10", "0,5,10,15", "0,10,10,20", "0,15,10,25"} << none << none;
    QTest::newRow("shift carries from group to group")
        << QByteArray("OCCURS,2,0,10,1,5,0\nBOX,L,0,0,1,1")
        << QStringList{"0,0,1,1", "0,10,1,11", "0,20,1,21", "5,20,6,21"} << none << none;
    QTest::newRow("second OCCURS stops the first")
        << QByteArray("OCCURS,1,0,10\nBOX,L,0,0,1,1\nOCCURS,2,10,0\nBOX,L,0,50,1,51")
        << QStringList{"0,0,1,1", "0,10,1,11", "0,50,1,51", "10,50,11,51", "20,50,21,51"} << none
        << none;
    QTest::newRow("items before the first OCCURS are not copied")
        << QByteArray("BOX,L,9,9,9,9\nOCCURS,2,1,0\nBOX,L,0,0,0,0")
        << QStringList{"9,9,9,9", "0,0,0,0", "1,0,1,0", "2,0,2,0"} << none << none;
    QTest::newRow("OCCURS 0 ends a repetition")
        << QByteArray("OCCURS,2,0,1\nBOX,L,0,0,0,0\nOCCURS,0,0,0\nBOX,L,7,7,7,7")
        << QStringList{"0,0,0,0", "0,1,0,1", "0,2,0,2", "7,7,7,7"} << none << none;
    QTest::newRow("zero and negative counts neither copy nor shift")
        << QByteArray("OCCURS,-3,1,1,0,4,4,2,0,1\nBOX,L,0,0,0,0")
        << QStringList{"0,0,0,0", "0,1,0,1", "0,2,0,2"} << none << none;
    QTest::newRow("bad group skipped, the others read")
        << QByteArray("OCCURS,x,1,1,1,0,5\nBOX,L,0,0,0,0") << QStringList{"0,0,0,0", "0,5,0,5"}
        << none << QStringList{"(2) OCCURS not numeric \"x\""};
    QTest::newRow("copies keep the items' order")
        << QByteArray("OCCURS,1,0,100\nBOX,L,1,1,1,1\nLINE,L,2,2,2,2")
        << QStringList{"1,1,1,1", "2,2,2,2", "1,101,1,101", "2,102,2,102"} << none << none;
    QTest::newRow("text items shift the same way")
        << QByteArray("OCCURS,2,3,0.5\nBOX,L,0,0,0,0\nTEXT,t,,0,1,2,0,")
        << QStringList{"0,0,0,0", "3,0.5,3,0.5", "6,1,6,1"}
        << QStringList{"1,2,0,0", "4,2.5,3,0.5", "7,3,6,1"} << none;
    QTest::newRow("OCCURS alone is a group of zeros")
        << QByteArray("OCCURS\nBOX,L,0,0,0,0") << QStringList{"0,0,0,0"} << none << none;
}

void test_layout::occurs() {
    QFETCH(QByteArray, layout);
    QFETCH(QStringList, lines);
    QFETCH(QStringList, prints);
    QFETCH(QStringList, errors);
    auto s = parse("LINE_SET,L,1,0\n" + layout);
    QCOMPARE(s->errors(), errors);
    QCOMPARE(corners_sx(s->form->line_items), lines);
    QCOMPARE(corners_sx(s->form->print_items), prints);
}

void test_layout::occurs_bound_data() {
    QTest::addColumn<QByteArray>("layout");
    QTest::addColumn<int>("lines");
    QTest::addColumn<int>("prints");
    QTest::addColumn<QStringList>("errors");

    QTest::newRow("two thousand million copies")
        << QByteArray("OCCURS,2000000000,0,1\nBOX,L,0,0,1,1") << 1 << 0
        << QStringList{"(2) OCCURS OCCURS count too large (2000000001)"};
    QTest::newRow("counts summed beyond 32 bits")
        << QByteArray("OCCURS,2000000000,0,0,2000000000,0,0\nBOX,L\nBOX,L\nBOX,L") << 3 << 0
        << QStringList{"(2) OCCURS OCCURS count too large (12000000003)"};
    QTest::newRow("exactly 100000 items")
        << QByteArray("OCCURS,99999,0,0.001\nBOX,L,0,0,1,1") << 100000 << 0 << QStringList{};
    QTest::newRow("one item more") << QByteArray("OCCURS,100000,0,0\nBOX,L,0,0,1,1") << 1 << 0
                                   << QStringList{"(2) OCCURS OCCURS count too large (100001)"};
    QTest::newRow("print list too long: no copies in either list")
        << QByteArray("OCCURS,50000,0,0\nBOX,L,0,0,1,1\nTEXT,a\nTEXT,b") << 1 << 2
        << QStringList{"(2) OCCURS OCCURS count too large (100002)"};
    QTest::newRow("the bound counts the whole list")
        << QByteArray("OCCURS,60000,0,0\nBOX,L\nOCCURS,60000,0,0\nBOX,L") << 60002 << 0
        << QStringList{"(4) OCCURS OCCURS count too large (120002)"};
    QTest::newRow("error named by its OCCURS record")
        << QByteArray("OCCURS,200000,0,1\nBOX,L\nFOO\nOCCURS,1,0,0,z\nBOX,L") << 3 << 0
        << QStringList{"(4) FOO FOO ?", "(2) OCCURS OCCURS count too large (200001)",
                       "(5) OCCURS not numeric \"z\""};
    QTest::newRow("huge count with nothing to copy")
        << QByteArray("OCCURS,2147483647,1,1\nOCCURS,2147483647,1,1\nTEXT_SET") << 0 << 0
        << QStringList{"(4) TEXT_SET TEXT_SET ?"};
}

void test_layout::occurs_bound() {
    QFETCH(QByteArray, layout);
    QFETCH(int, lines);
    QFETCH(int, prints);
    QFETCH(QStringList, errors);
    QElapsedTimer timer;
    timer.start();
    auto s = parse("LINE_SET,L,1,0\n" + layout);
    QCOMPARE(s->errors(), errors);
    QCOMPARE(s->form->line_items.size(), lines);
    QCOMPARE(s->form->print_items.size(), prints);
    QVERIFY2(timer.elapsed() < 20000, "a repetition took too long");
}

void test_layout::values_per_page_data() {
    QTest::addColumn<QByteArray>("layout");
    QTest::addColumn<int>("values");

    QTest::newRow("empty layout") << QByteArray("") << 0;
    QTest::newRow("DATA counts once whatever its groups")
        << QByteArray("DATA,,,0,0,0,,,,1,1,0,,,,2,2,0,") << 1;
    QTest::newRow("fixed strings count nothing")
        << QByteArray("TEXT,a\nCODE39,X\nJAN,1\nIMAGE,f") << 0;
    QTest::newRow("empty strings count")
        << QByteArray("CODE39,\nJAN,,1,1,1,1,2,2,2,2\nIMAGE,\nDATA_FIX_V") << 4;
    QTest::newRow("DATA with an unknown style still counts") << QByteArray("DATA,S9") << 1;
    QTest::newRow("OFFSET multiplies") << QByteArray("DATA\nDATA_V\nOFFSET,0,0,10,0,20,0") << 6;
    QTest::newRow("OFFSET pairs over several records")
        << QByteArray("DATA\nOFFSET,0,0\nOFFSET,10,0") << 2;
    QTest::newRow("failed OFFSET pair left out") << QByteArray("DATA\nOFFSET,0,0,x,1,5,5") << 2;
    QTest::newRow("odd OFFSET filled to a pair") << QByteArray("DATA\nOFFSET,1,2,3") << 2;
    QTest::newRow("OCCURS copies take values of their own")
        << QByteArray("OCCURS,2,0,1\nDATA,,,0,0,0,,,,5,5,0,\nOFFSET,0,0,50,0") << 6;
}

void test_layout::values_per_page() {
    QFETCH(QByteArray, layout);
    QFETCH(int, values);
    auto s = parse(layout);
    QCOMPARE(s->form->values_per_form, values);
}

// The layouts of examples/ parse without an error into the items and the values per
// page that their comments promise.
void test_layout::examples_data() {
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("lines");
    QTest::addColumn<int>("prints");
    QTest::addColumn<int>("values");

    // 13 rules; 12 texts and values before the rows, 3 row values and 21 copies, 4 after.
    QTest::newRow("invoice") << "invoice/invoice.csv" << 13 << 40 << 30;
    // A box and three values, seven times; two columns.
    QTest::newRow("labels") << "labels/labels.csv" << 7 << 21 << 42;
    // The frame and six rules; 8 texts and values, 1 row value and 3 copies, 1 text.
    QTest::newRow("delivery") << "delivery/delivery.csv" << 7 << 13 << 8;
}

void test_layout::examples() {
    QFETCH(QString, file);
    QFETCH(int, lines);
    QFETCH(int, prints);
    QFETCH(int, values);
    const QString path = QStringLiteral(KORVAN_SOURCE_DIR "/examples/") + file;
    if (!QFile::exists(path)) QSKIP("example not present");
    session_l s({QStringLiteral("DATA"), QStringLiteral("none.txt"), path});
    s.form->setup_v();
    QCOMPARE(s.errors(), QStringList{});
    QCOMPARE(s.form->line_items.size(), lines);
    QCOMPARE(s.form->print_items.size(), prints);
    QCOMPARE(s.form->values_per_form, values);
}

QTEST_MAIN(test_layout)
#include "test_layout.moc"
