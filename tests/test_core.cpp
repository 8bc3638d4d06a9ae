// The program context: start-up fields, number parsing, strings, paths, character widths
// and text files in their encodings. Expected values are worked out from the program's
// rules, not taken from its output.
#include "core/textfile.h"
#include "support.h"

#include <QFontInfo>
#include <QPainter>
#include <climits>
#include <cmath>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString before = QStringLiteral("<before>"); // left by an earlier call
const QString fffd(QChar::ReplacementCharacter);

QString u(const char* utf8) {
    return QString::fromUtf8(utf8);
}

// The bytes of a literal, NUL bytes included.
template <size_t N> QByteArray b(const char (&s)[N]) {
    return QByteArray(s, N - 1);
}

// machine: the short host name from the first line of "hostname"; directory: up to the
// last separator, else the first character; work file: a name with its own location is
// opened as it is, else in the work directory.
struct rule_row {
    const char *rule, *in, *out;
};
// clang-format off
const rule_row rule_rows[] = {
    {"machine", "ws-07.lab\n", "ws-07"}, {"machine", "ws-07\n", "ws-07\n"}, {"key", "ws-07", "WS_07"},
    {"directory", "KORVAN", "K"}, {"directory", "", ""}, {"label", "001002100", "37/10.2.100"},
    {"work file", "KORVAN.CSV", "/home/Q/TMP/KORVAN.CSV"}, {"work file", "K", "/home/Q/TMP/K"},
    {"work file", ".\\a.csv", "/home/Q/TMP/.\\a.csv"}, {"work file", "./a.csv", "./a.csv"},
    {"work file", "C:\\forms\\a.csv", "C:\\forms\\a.csv"}, {"work file", "../KORVAN.TXT", "../KORVAN.TXT"},
    {"work file", "/a//b/../c", "/a//b/../c"},
    // font: the family a layout's font name draws in, empty when none is installed.
    {"font", "ms mincho", "IPAMincho"}, {"font", "ＭＳ ゴシック", "IPAGothic"},
    {"font", "MS UI Gothic", "IPAPGothic"}, {"font", "No Such Family 4711", ""},
    // environment: the encoding KORVAN_ENCODING forces for layout and data files.
    {"environment", "sjis", "Shift-JIS"}, {"environment", "euc_jp", "EUC-JP"},
    {"environment", "latin1", ""}};
// clang-format on

// Verdict 0 accepts, else the message: n not numeric, p not plus, z bad zero. The
// defaults are 7 (to_double_o) and 4 (to_int_check); a negative int under "+" keeps
// its value, a double gets the default.
struct number_row {
    bool integer;
    const char* text;
    char sign;
    double value;
    char verdict;
};
// clang-format off
const number_row number_rows[] = {
    {false, "", '+', 0, 0}, {false, " \t\v\f3.25\r\n", '+', 3.25, 0}, {false, "-1.5E2", '-', -150, 0},
    {false, "-5", '+', 7, 'p'}, {false, "-5", '0', -5, 0}, {false, "-0", '+', 0, 0},
    {false, "-1e-400", '+', 0, 0}, {false, "1e309", '-', 7, 'n'}, {false, "1,5", '-', 7, 'n'},
    {false, "inf", '-', 7, 'n'}, {false, "0x1A", '-', 7, 'n'}, {false, "1e", '-', 7, 'n'},
    {false, " ", '-', 7, 'n'}, {false, "\u30005", '-', 7, 'n'}, {false, "１２", '-', 7, 'n'},
    {true, "", '0', 0, 'z'}, {true, "", '+', 0, 0}, {true, "1", '0', 1, 0}, {true, "0", '0', 0, 'z'},
    {true, "-0", '0', 0, 'z'}, {true, "0", '+', 0, 0}, {true, " +42\t\r\n", '+', 42, 0},
    {true, "-5", '+', -5, 'p'}, {true, "-5", '-', -5, 0}, {true, "00000000000000000042", '+', 42, 0},
    {true, "2147483647", '+', INT_MAX, 0}, {true, "-2147483648", '-', INT_MIN, 0},
    {true, "2147483648", '-', 4, 'n'}, {true, "-2147483649", '-', 4, 'n'}, {true, "1.5", '-', 4, 'n'},
    {true, "+", '-', 4, 'n'}, {true, "  ", '-', 4, 'n'}, {true, "１２", '-', 4, 'n'}};

// The kind of the first character and the width of the first n code units.
struct width_row {
    const char* text;
    int n, kind, width;
};
const width_row width_rows[] = {
    {"A", 1, 1, 1}, {"漢", 1, 2, 2}, {"\uFF65", 1, 2, 2}, {"ｦ", 1, 3, 1}, {"\uFF9F", 1, 3, 1},
    {"\uFFA0", 1, 2, 2}, {"😀", 1, 4, 2}, {"\u0301", 1, 0, 0}, {"A漢ｱ😀B", 6, 1, 7}, {"漢A", 99, 2, 3}};

struct lines_row {
    const char* tag;
    QByteArray bytes;
    const char* encoding;
    QStringList lines;
};
// 上 is U+4E0A: its low byte is a line feed that must not end a UTF-16 line.
const lines_row lines_rows[] = {
    {"last line without line feed", b("a\nb"), "", {"a", "b"}},
    {"empty file", QByteArray(), "", {}},
    {"CR LF, empty lines, lone CR", b("a\rb\r\n\r\n\n"), "", {"a\rb", "", ""}},
    {"bad UTF-8", b("\xE6\xBC\xA2\xFF\n\xE3\nB"), "UTF-8", {u("漢") + fffd, fffd, "B"}},
    {"Shift-JIS controls", b("\x1A\x1C\x7F\t\n"), "sjis", {u("\x1A\x1C\x7F\t")}},
    {"Shift-JIS cut", b("\x8A\xBF\x8E\r\na\x81 z\x82"), "sjis", {u("漢") + fffd, "a" + fffd + " z" + fffd}},
    {"UTF-8 mark beats Shift-JIS, only at the start", b("\xEF\xBB\xBF\xE3\x81\x82\n\xEF\xBB\xBF"), "sjis",
     {u("あ"), u("\uFEFF")}},
    {"UTF-16 LE", b("\xFF\xFE\x61\0\r\0\n\0\x0A\x4E\x1A\0\n\0"), "sjis", {"a", u("上\x1A")}}};

// How a file is judged: UTF-8 when all of it is UTF-8, else Shift-JIS. Read as judged,
// the first line of some ends in 請求書.
struct judge_row {
    const char* tag;
    QByteArray bytes;
    const char* encoding;
    bool reads_right;
};
const QByteArray sjis_text("\x90\xBF\x8B\x81\x8F\x91"), utf8_text("\xE8\xAB\x8B\xE6\xB1\x82\xE6\x9B\xB8");
const QByteArray mb2(2 << 20, 'a');
// The check takes whole chunks of 16 or 32 bytes: the narrower second-byte ranges go
// inside the one chunk of a file shorter than 32 bytes, and across a chunk end that
// whole chunks follow (a sequence across the last chunk's end is looked at again).
const QByteArray a1(1, 'a'), a12(12, 'a'), a30(30, 'a'), a40(40, 'a');
const QByteArray edges("\xE0\xA0\x80\xED\x9F\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
const judge_row judge_rows[] = {
    {"ASCII", "a\tb\n", "UTF-8", false}, {"Shift-JIS after 2 MB of ASCII", mb2 + sjis_text, "Shift-JIS", true},
    {"UTF-8 after 2 MB of ASCII", mb2 + utf8_text, "UTF-8", true},
    {"Shift-JIS after UTF-8 and 4 MB", utf8_text + mb2 + mb2 + sjis_text, "Shift-JIS", true},
    {"mark beats Shift-JIS", "\xEF\xBB\xBF" + sjis_text, "UTF-8", false},
    {"UTF-8 across block ends", utf8_text.left(3).repeated(100000), "UTF-8", false},
    {"UTF-8 cut by the end", "abc\xE6\xBC", "Shift-JIS", false}, {"overlong form", "\xE0\x80\x80", "Shift-JIS", false},
    {"overlong in a chunk", a1 + "\xE0\x9F\xBF" + a12, "Shift-JIS", false},
    {"overlong across chunks", a30 + "\xE0\x9F\xBF" + a40, "Shift-JIS", false},
    {"surrogate in a chunk", a1 + "\xED\xA0\x80" + a12, "Shift-JIS", false},
    {"surrogate across chunks", a30 + "\xED\xA0\x80" + a40, "Shift-JIS", false},
    {"short four bytes in a chunk", a1 + "\xF0\x8F\xBF\xBF" + a12, "Shift-JIS", false},
    {"short four bytes across chunks", a30 + "\xF0\x8F\xBF\xBF" + a40, "Shift-JIS", false},
    {"above U+10FFFF in a chunk", a1 + "\xF4\x90\x80\x80" + a12, "Shift-JIS", false},
    {"above U+10FFFF across chunks", a30 + "\xF4\x90\x80\x80" + a40, "Shift-JIS", false},
    {"range edges in a chunk", a1 + edges + a12, "UTF-8", false},
    {"range edges across chunks", a30 + edges + a40, "UTF-8", false}};
// clang-format on

} // namespace

class test_core : public QObject {
    Q_OBJECT

    std::unique_ptr<qx_z_l> ctx;
    QTemporaryDir tmp;
    QString put(const char* name, const QByteArray& bytes) { return ::put(tmp, u(name), bytes); }

    // Every line of a file; the end must be status 1 with the line emptied, twice.
    QStringList read_lines(const QString& file, const QString& encoding) {
        qx_read_l reader(ctx.get());
        QStringList lines;
        if (!reader.open_b(file, encoding)) return {u("<open failed>")};
        int status;
        while ((status = reader.read()) == 0)
            lines.append(reader.line);
        if (status != 1) lines.append(QStringLiteral("<status %1>").arg(status));
        if (!reader.line.isEmpty() || reader.read() != 1) lines.append(u("<end not kept>"));
        return lines;
    }

private slots:
    void initTestCase() {
        QVERIFY(tmp.isValid());
        qunsetenv("KORVAN_ENCODING");
        ctx = make_context({"/usr/bin/KORVAN", "DISPLAY", "", "帳票.csv"});
    }

    void context_fields() {
        QCOMPARE(ctx->program_directory, u("/usr/bin/"));
        QCOMPARE(ctx->arguments, (s_l{u("DISPLAY"), QString(), u("帳票.csv")}));
        QCOMPARE(ctx->version_label, u("37/8.0.17"));
        // Layouts name the Windows fonts; here they draw in the IPA fonts.
        QCOMPARE(QFontInfo(ctx->default_font).family(), u("IPAGothic"));
    }

    // A character the layout's font lacks is drawn in the font the program names for it,
    // not in whatever the machine's fontconfig would pick: the IPAex font of the same
    // style, then IPAmj Mincho. (Left to fontconfig, a Mincho text gets its vertical
    // brackets from IPAexGothic under the tests' own configuration.)
    void fonts_stand_in_data() {
        QTest::addColumn<QString>("family");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("drawn_in");
        const char* rows[][3] = {
            {"IPAMincho", "︵︶", "IPAexMincho"}, {"IPAPMincho", "︻", "IPAexMincho"},
            {"MS Mincho", "︵", "IPAexMincho"},   {"ＭＳ 明朝", "︶", "IPAexMincho"},
            {"IPAGothic", "︵︶", "IPAexGothic"}, {"MS PGothic", "︼", "IPAexGothic"},
            {"IPAMincho", "𠮷", "IPAmjMincho"},   {"IPAexGothic", "𠮷", "IPAmjMincho"},
            {"MS UI Gothic", "𠮷", "IPAmjMincho"}};
        for (const auto& r : rows)
            QTest::addRow("%s %s", r[0], r[1]) << u(r[0]) << u(r[1]) << u(r[2]);
    }
    void fonts_stand_in() {
        QFETCH(QString, family);
        QFETCH(QString, text);
        QFETCH(QString, drawn_in);
        const auto draw = [&](const QString& f) {
            QImage image(200, 80, QImage::Format_RGB32);
            image.fill(Qt::white);
            QFont font(f);
            font.setPixelSize(48);
            QPainter painter(&image);
            painter.setFont(font);
            painter.drawText(10, 60, text);
            return image;
        };
        const QImage got = draw(family);
        QVERIFY(!ink(got, 128).isEmpty());
        QCOMPARE(got, draw(drawn_in));
    }

    void string_rules_data() { table_data(rule_rows, &rule_row::in); }
    void string_rules() {
        QFETCH(int, row);
        const QString rule = u(rule_rows[row].rule), in = u(rule_rows[row].in);
        QString got;
        if (rule == "machine") {
            got = ctx->machine_name_from_s(in);
        } else if (rule == "key") {
            got = qx_z_l::machine_key_s(in);
        } else if (rule == "directory") {
            got = qx_z_l::program_directory_s(in, u("/"));
        } else if (rule == "label") {
            got = qx_z_l::version_label_s(in, 37);
        } else if (rule == "font") {
            const QString family = qx_z_l::installed_family_s(in);
            if (!family.isEmpty()) got = QFontInfo(QFont(family, 12)).family();
        } else if (rule == "environment") {
            qputenv("KORVAN_ENCODING", in.toUtf8());
            got = make_context({"korvan"})->forced_encoding;
            qunsetenv("KORVAN_ENCODING");
        } else {
            got = ctx->get_tmp_file_s(in);
            QCOMPARE(ctx->check_path_b(in), got == in);
        }
        QCOMPARE(got, u(rule_rows[row].out));
    }

    void numbers_data() { table_data(number_rows, &number_row::text); }
    void numbers() {
        QFETCH(int, row);
        const number_row& r = number_rows[row];
        const QString text = u(r.text);
        const char* what = r.verdict == 'n'   ? "not numeric \""
                           : r.verdict == 'p' ? "not plus \""
                                              : "bad zero \"";
        for (int report : {1, 0}) {
            ctx->message = before;
            ctx->numeric_ok = r.verdict != 0; // every call sets it
            const double got = r.integer ? ctx->to_int_check(text, r.sign, 4, report)
                                         : ctx->to_double_o(text, r.sign, 7.0, report);
            QCOMPARE(got, r.value);
            QVERIFY(!std::signbit(got) || r.value < 0); // no "-0" to print
            QCOMPARE(ctx->numeric_ok, r.verdict == 0);
            QCOMPARE(ctx->message, report && r.verdict ? u(what) + text + u("\"") : before);
        }
        if (r.integer) QCOMPARE(ctx->to_int1s_i(text), r.verdict == 'n' ? 0 : int(r.value));
    }

    // Positions and lengths count code units and are clamped; padding never cuts;
    // splitting keeps empty pieces; trim_s takes every blank off, the start and end forms
    // only ASCII spaces. A failed comparison notes what was looked for.
    void strings() {
        const QString abc = u("abc");
        QCOMPARE(ctx->substring3_s(abc, 2, 10), u("c"));
        QCOMPARE(ctx->substring3_s(abc, 5, 1), QString());
        QCOMPARE(ctx->substring3_s(abc, -3, 2), u("ab"));
        QCOMPARE(ctx->substring3_s(u("a😀"), 1, 1), QString(QChar(0xD83D)));
        QCOMPARE(ctx->substring2_s(abc, -1), abc);
        QCOMPARE(ctx->at_s_c(abc, 3), QChar());
        QCOMPARE(ctx->pad_start_s(u("12"), 5, u'0'), u("00012"));
        QCOMPARE(ctx->pad_start_s(u("123456"), 5, u'0'), u("123456"));
        QCOMPARE(ctx->pad_end_s(u("😀"), 3), u("😀 "));
        QCOMPARE(ctx->split_sx(u("a,,b,"), u','), (s_l{"a", "", "b", ""}));
        QCOMPARE(ctx->split_sx(QString(), u','), s_l{""});
        const QString s = u(" \u3000a\r\n  ");
        QCOMPARE(ctx->trim_s(s), u("a"));
        QCOMPARE(ctx->trim_start_s(s), u("\u3000a\r\n  "));
        QCOMPARE(ctx->trim_end_s(s), u(" \u3000a\r\n"));
        QCOMPARE(ctx->trim_start_s(u("  ")) + ctx->trim_end_s(u("  ")), QString());
        QVERIFY(!ctx->e4s_b(u("q"), u("A"), u("B"), u("Q")));
        QVERIFY(ctx->e3s_b(u("B"), u("A"), u("B"))); // a match leaves the note alone
        QCOMPARE(ctx->compare_note, u("\"q\" not in('A','B','Q')"));
    }

    void widths_data() { table_data(width_rows, &width_row::text); }
    void widths() {
        QFETCH(int, row);
        const width_row& r = width_rows[row];
        const QString text = u(r.text);
        QCOMPARE(ctx->kind_code(text.at(0)), r.kind);
        QCOMPARE(ctx->kind_code(text.at(0)), r.kind); // now from the cache
        QCOMPARE(ctx->form_length(text, r.n), r.width);
    }

    void read_lines_data() { table_data(lines_rows, &lines_row::tag); }
    void read_lines() {
        QFETCH(int, row);
        const lines_row& r = lines_rows[row];
        QCOMPARE(read_lines(put("lines.txt", r.bytes), u(r.encoding)), r.lines);
    }

    // A 10 MB line is read; one longer than max_line is skipped with an error, reported as
    // soon as it passes the limit (the rest of it is skipped by the next read). The
    // encoding of a device or a pipe is not looked for by reading it: that would never
    // end, or drain the pipe. Should any of it read on, the alarm ends the test.
    void long_and_endless_lines() {
        alarm(60);
        const qsizetype max = qx_line_buffer_l::max_line;
        const QString file = put("long.txt", "first\n" + QByteArray(10 << 20, 'x') + "\n" +
                                                 QByteArray(max + 1, 'y') + "\n" +
                                                 QByteArray(3 * max, 'z') + "\nlast");
        qx_read_l reader(ctx.get());
        QVERIFY(reader.open_b(file, QString()));
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.line.size(), 10 << 20);
        for (int i = 0; i < 2; ++i) {
            ctx->message.clear();
            QCOMPARE(reader.read(), 2);
            QCOMPARE(ctx->message, u("line too long(") + file + u(")"));
        }
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.line, u("last"));
        QCOMPARE(reader.read(), 1);
        reader.read_close_v();
        QVERIFY(reader.open_b(u("/dev/zero"), u("UTF-8")));
        QCOMPARE(reader.read(), 2);
        QCOMPARE(ctx->message, u("line too long(/dev/zero)"));
        QCOMPARE(ctx->file_encoding_s(u("/dev/zero")), u("UTF-8"));
        const QString fifo = tmp.filePath(u("fifo"));
        QCOMPARE(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        QCOMPARE(ctx->file_encoding_s(fifo), u("UTF-8")); // with no writer, an open waits
        alarm(0);
    }

    void reader_misuse() {
        qx_read_l reader(ctx.get());
        QCOMPARE(reader.read(), 5);
        QCOMPARE(ctx->message, u("not open read"));
        const QString missing = tmp.filePath(u("no-such-file.txt"));
        QVERIFY(!reader.open_b(missing, QString()));
        QCOMPARE(ctx->message, u("open read error(") + missing + u(")"));
        QVERIFY(reader.open_b(put("one.txt", "1a\n1b\n"), QString()));
        QCOMPARE(reader.read(), 0);
        QVERIFY(!reader.open_b(put("two.txt", "2a\n"), QString()));
        QCOMPARE(ctx->message, u("already open read"));
        QCOMPARE(reader.read(), 0); // still the first file
        QCOMPARE(reader.line, u("1b"));
        reader.read_close_v();
        reader.read_close_v(); // harmless when closed
        QCOMPARE(reader.read(), 5);
        // A file that opens but cannot be read: one error, then the end of the file.
        QVERIFY(reader.open_b(u("/proc/self/mem"), QString()));
        QCOMPARE(reader.read(), 2);
        QCOMPARE(ctx->message, u("read error(/proc/self/mem)"));
        QCOMPARE(reader.read(), 1);
    }

    void file_encoding_data() { table_data(judge_rows, &judge_row::tag); }
    void file_encoding() {
        QFETCH(int, row);
        const judge_row& r = judge_rows[row];
        const QString file = put("judge.txt", r.bytes);
        QCOMPARE(ctx->file_encoding_s(file), u(r.encoding));
        qx_read_l reader(ctx.get());
        QVERIFY(reader.open_b(file, u(r.encoding)));
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.line.endsWith(u("請求書")), r.reads_right);
        ctx->forced_encoding = u("euc_jp");
        QCOMPARE(ctx->file_encoding_s(file), u("EUC-JP"));
        ctx->forced_encoding.clear();
    }

    // The style after the comma: U unix, empty unix, anything else windows.
    void writer_line_ends() {
        const std::tuple<const char*, const char*, QByteArray> rows[] = {
            {"UTF-8", "あ", "\xE3\x81\x82\n"}, {"UTF-8,W", "a", "a\r\n"},
            {"UTF-8,u", "a", "a\n"},           {"UTF-8,", "a", "a\n"},
            {"UTF-8,X", "a", "a\r\n"},         {" sjis , w ,x", "①～", "\x87\x40\x81\x60\r\n"}};
        for (const auto& [encoding, text, bytes] : rows) {
            qx_write_l writer(ctx.get());
            const QString file = tmp.filePath(u("out.txt"));
            QVERIFY(writer.open_b(file, u("OT"), u(encoding)));
            QVERIFY(writer.write_b(u(text)) && writer.write_b(u(text)));
            writer.write_close_v();
            QVERIFY2(slurp(file) == bytes + bytes, encoding);
        }
    }

    void writer_modes_and_misuse() {
        qx_write_l writer(ctx.get());
        QVERIFY(!writer.write_b(u("x")));
        QCOMPARE(ctx->message, u("not open write"));
        QVERIFY(!writer.open_b(tmp.filePath(u("no/such/dir.txt")), u("OT"), u("/")));
        QCOMPARE(ctx->message, u("Open Write error"));
        // ADD appends; a second open is refused and leaves the first file as it was.
        const QString file = put("mode.txt", "old\n");
        QVERIFY(writer.open_b(file, u("ADD"), u("/")));
        QVERIFY(!writer.open_b(tmp.filePath(u("second.txt")), u("OT"), u("UTF-8,W")));
        QCOMPARE(ctx->message, u("already open write"));
        QVERIFY(writer.write_b(u("a")));
        writer.write_close_v();
        writer.write_close_v(); // harmless when closed
        QCOMPARE(slurp(file), b("old\na\n"));
        QVERIFY(!QFile::exists(tmp.filePath(u("second.txt"))));
        QVERIFY(writer.open_b(file, u("add"), u("/")) && writer.write_b(u("b"))); // afresh
        writer.write_close_v();
        QCOMPARE(slurp(file), b("b\n"));
    }

    // Files made by the system's iconv read back as the same text, and written again
    // they are the same bytes.
    void japanese_round_trip() {
        const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
            {"請求書 ①㈱～", "CP932", "sjis", "Shift_JIS"},
            {"髙﨑 Ⅲ ≒ ∵ ― ∥ ＼ ｱｲｳ \\~ \x1A\x1C\x7F", "CP932", "SHIFT-JIS", "sjis"},
            {"請求書 納品書 ｱｲｳ", "EUC-JP", "eucjp", "EUC-JP"}};
        for (const auto& [text, charset, read_as, write_as] : rows) {
            const QStringList lines{u(text), u("2行目")};
            const QByteArray bytes =
                run_tool(u("iconv"), {u("-f"), u("UTF-8"), u("-t"), u(charset)},
                         (lines.join('\n') + '\n').toUtf8())
                    .out;
            QVERIFY2(!bytes.isEmpty(), "iconv failed");
            QCOMPARE(read_lines(put("jp.txt", bytes), u(read_as)), lines);
            qx_write_l writer(ctx.get());
            QVERIFY(writer.open_b(tmp.filePath(u("jp2.txt")), u("OT"), u(write_as)));
            for (const QString& line : lines)
                QVERIFY(writer.write_b(line));
            writer.write_close_v();
            QCOMPARE(slurp(tmp.filePath(u("jp2.txt"))), bytes);
        }
    }
};

QTEST_MAIN(test_core)
#include "test_core.moc"
