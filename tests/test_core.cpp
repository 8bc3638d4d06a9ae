// The program context: start-up fields, number parsing, string and list helpers, paths,
// character widths, text files in their encodings and the VERSION report. Expected
// values are worked out from the program's rules, not taken from its output.
#include "core/qx_z.h"
#include "core/textfile.h"
#include "core/version.h"

#include <QFontInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <climits>
#include <cmath>
#include <memory>

namespace {

char arg0[] = "/usr/bin/KORVAN";
char arg1[] = "DISPLAY";
char arg2[] = "";
char arg3[] = "\xE5\xB8\xB3\xE7\xA5\xA8.csv"; // 帳票.csv in UTF-8, the local encoding
char* argv_run[] = {arg0, arg1, arg2, arg3, nullptr};

const QString before = QStringLiteral("<before>"); // left by an earlier call
const QString fffd(QChar::ReplacementCharacter);

QString u(const char* utf8) {
    return QString::fromUtf8(utf8);
}

QString q(const QString& text) {
    return QLatin1Char('"') + text + QLatin1Char('"');
}

// The bytes of a literal, NUL bytes included.
template <size_t N> QByteArray b(const char (&s)[N]) {
    return QByteArray(s, N - 1);
}

void spit(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

QByteArray slurp(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

// The text in a legacy encoding, as the system's iconv writes it.
QByteArray iconv_to(const QString& text, const QString& charset) {
    QProcess p;
    p.start(u("iconv"), {u("-f"), u("UTF-8"), u("-t"), charset});
    if (!p.waitForStarted()) return QByteArray();
    p.write(text.toUtf8());
    p.closeWriteChannel();
    p.waitForFinished();
    return p.exitCode() == 0 ? p.readAllStandardOutput() : QByteArray();
}

// Rows of the two number parsers. The verdict is 0 for an accepted text, else the
// message the rejection leaves: 'n' not numeric, 'p' not plus, 'z' bad zero.
struct number_row {
    const char* tag;
    const char* text;
    char sign;
    double value;
    char verdict;
};

void add_number_rows(const char* parser, std::initializer_list<number_row> rows) {
    for (const number_row& r : rows) {
        const QByteArray tag = QByteArray(parser) + ": " + (r.tag ? r.tag : r.text);
        QTest::newRow(tag.constData()) << (parser[0] == 'i') << u(r.text)
                                       << QChar(QLatin1Char(r.sign)) << r.value << r.verdict;
    }
}

// Rows of the rules that map one string to another; the rule names the operation.
struct rule_row {
    const char* rule;
    const char* tag;
    const char* in;
    const char* out;
};

const rule_row string_rows[] = {
    // The short host name from the first line of "hostname", and its key.
    {"machine", "dotted: the line feed goes with the domain", "ws-07.lab\n", "ws-07"},
    {"machine", "no dot keeps the line feed", "ws-07\n", "ws-07\n"},
    {"machine", "blanks before the line feed stay", "ws  \n", "ws  \n"},
    {"machine", "several dots", "a.b.c\n", "a"},
    {"key", "upper case, underscores", "ws-07", "WS_07"},
    // The program directory: up to the last separator, not looking at position 0.
    {"directory", "bare name: its first character", "KORVAN", "K"},
    {"directory", "relative", "bin/KORVAN", "bin/"},
    {"directory", "separator at 0 not looked at", "/KORVAN", "/"},
    {"directory", "one character", "K", "K"},
    {"directory", "empty", "", ""},
    {"windows directory", "backslash", "C:\\Q\\KORVAN.EXE", "C:\\Q\\"},
    {"windows directory", "slash is no separator", "C:/Q/KORVAN", "C"},
    // The printable version for the general number 37.
    {"label", "this program", "000800017", "37/8.0.17"},
    {"label", "all zero keeps a digit each", "000000000", "37/0.0.0"},
    {"label", "inner zeros stay", "001002100", "37/10.2.100"},
    // Canonical encoding names.
    {"encode", "slash", "/", "UTF-8"},
    {"encode", "empty", "", "UTF-8"},
    {"encode", "Utf_8", "Utf_8", "UTF-8"},
    {"encode", "euc_jp", "euc_jp", "EUC-JP"},
    {"encode", "sjis", "sjis", "Shift-JIS"},
    {"encode", "Shift_JIS", "Shift_JIS", "Shift-JIS"},
    {"encode", "unknown is upper-cased", "cp932", "CP932"},
    {"encode", "no trimming", " sjis", " SJIS"},
    // The encoding KORVAN_ENCODING forces.
    {"environment", "sjis", "sjis", "Shift-JIS"},
    {"environment", "euc_jp", "euc_jp", "EUC-JP"},
    {"environment", "empty means unset", "", ""},
    {"environment", "unknown is ignored", "latin1", ""},
    // The family a font name draws in; empty when it is not installed.
    {"font", "windows name", "MS Gothic", "IPAGothic"},
    {"font", "other case", "ms mincho", "IPAMincho"},
    {"font", "ui gothic", "MS UI Gothic", "IPAPGothic"},
    {"font", "japanese spelling", "ＭＳ ゴシック", "IPAGothic"},
    {"font", "japanese mincho", "ＭＳ 明朝", "IPAMincho"},
    {"font", "real family, other case", "ipagothic", "IPAGothic"},
    {"font", "unknown", "No Such Family 4711", ""},
    {"font", "empty", "", ""},
    // The work directory followed by a tail.
    {"tmp path", "separator", "/", "/home/Q/TMP/"},
    {"tmp path", "no separator added", "x", "/home/Q/TMPx"},
    // The path opened for a name: itself when it carries its location, else in the
    // work directory.
    {"work file", "bare", "KORVAN.CSV", "/home/Q/TMP/KORVAN.CSV"},
    {"work file", "one character", "K", "/home/Q/TMP/K"},
    {"work file", "dot alone", ".", "/home/Q/TMP/."},
    {"work file", "dot dot alone", "..", "/home/Q/TMP/.."},
    {"work file", "dot backslash on unix", ".\\a.csv", "/home/Q/TMP/.\\a.csv"},
    {"work file", "drive letter", "C:\\forms\\a.csv", "C:\\forms\\a.csv"},
    {"work file", "parent", "../data/KORVAN.TXT", "../data/KORVAN.TXT"},
    {"work file", "not normalised", "/a//b/../c", "/a//b/../c"},
};

} // namespace

class test_core : public QObject {
    Q_OBJECT

    std::unique_ptr<qx_z_l> ctx;
    QTemporaryDir tmp;
    QString path(const char* name) const { return tmp.filePath(u(name)); }

    // Every line of a file, read to the end; the end must be told by status 1, with the
    // line emptied, and told again on the next read.
    QStringList read_lines(const QString& file, const QString& encoding) {
        qx_read_l reader(ctx.get());
        QStringList lines;
        if (!reader.open_b(file, encoding)) return {u("<open failed>")};
        int status;
        while ((status = reader.read()) == 0)
            lines.append(reader.line);
        if (status != 1) lines.append(QStringLiteral("<status %1>").arg(status));
        if (!reader.line.isEmpty()) lines.append(u("<line not emptied>"));
        if (reader.read() != 1) lines.append(u("<end not repeated>"));
        return lines;
    }

private slots:
    void initTestCase() {
        QVERIFY(tmp.isValid());
        qunsetenv("KORVAN_ENCODING");
        ctx = std::make_unique<qx_z_l>(u("KORVAN"), 4, argv_run);
    }

    // ------------------------------------------------------------ start-up

    void context_fields() {
        QCOMPARE(ctx->program_path, u("/usr/bin/KORVAN"));
        QCOMPARE(ctx->program_directory, u("/usr/bin/"));
        QCOMPARE(ctx->arguments, (s_l{u("DISPLAY"), QString(), u("帳票.csv")}));
        QCOMPARE(ctx->version_label, u("37/8.0.17"));
        QCOMPARE(ctx->product_code, u("Q37"));
        QCOMPARE(ctx->default_font.pointSize(), 12);
        // Layouts name the Windows fonts; here they must draw in the IPA fonts.
        QCOMPARE(QFontInfo(ctx->default_font).family(), u("IPAGothic"));
    }

    void string_rules_data() {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("in");
        QTest::addColumn<QString>("out");
        for (const rule_row& r : string_rows) {
            const QByteArray tag = QByteArray(r.rule) + ": " + r.tag;
            QTest::newRow(tag.constData()) << u(r.rule) << u(r.in) << u(r.out);
        }
    }
    void string_rules() {
        QFETCH(QString, rule);
        QFETCH(QString, in);
        QFETCH(QString, out);
        QString got;
        if (rule == QLatin1String("directory")) {
            got = qx_z_l::program_directory_s(in, u("/"));
        } else if (rule == QLatin1String("windows directory")) {
            got = qx_z_l::program_directory_s(in, u("\\"));
        } else if (rule == QLatin1String("font")) {
            const QString family = qx_z_l::installed_family_s(in);
            if (!family.isEmpty()) got = QFontInfo(QFont(family, 12)).family();
        } else if (rule == QLatin1String("machine")) {
            got = ctx->machine_name_from_s(in);
        } else if (rule == QLatin1String("key")) {
            got = qx_z_l::machine_key_s(in);
        } else if (rule == QLatin1String("label")) {
            got = qx_z_l::version_label_s(in, 37);
        } else if (rule == QLatin1String("encode")) {
            got = ctx->encode_s(in);
        } else if (rule == QLatin1String("environment")) {
            qputenv("KORVAN_ENCODING", in.toUtf8());
            got = qx_z_l(u("KORVAN"), 1, argv_run).forced_encoding;
            qunsetenv("KORVAN_ENCODING");
        } else if (rule == QLatin1String("tmp path")) {
            got = ctx->get_tmp_path_s(u("OTHER"), in);
        } else {
            got = ctx->get_tmp_file_s(in);
            QCOMPARE(ctx->check_path_b(in), in == out);
        }
        QCOMPARE(got, out);
    }

    // ------------------------------------------------------------ numbers and strings

    void numbers_data() {
        QTest::addColumn<bool>("integer");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QChar>("sign");
        QTest::addColumn<double>("value");
        QTest::addColumn<char>("verdict");
        // to_double_o with the default 7.
        add_number_rows("double", {
                                      {"empty is zero, not the default", "", '+', 0, 0},
                                      {"C blanks around", " \t\v\f3.25\r\n", '+', 3.25, 0},
                                      {"exponent", "-1.5E2", '-', -150, 0},
                                      {"point first, plus sign", "+.5", '+', 0.5, 0},
                                      {"negative under +", "-5", '+', 7, 'p'},
                                      {"negative under -", "-5", '-', -5, 0},
                                      {"negative under 0", "-5", '0', -5, 0},
                                      {"minus zero is zero", "-0", '+', 0, 0},
                                      {"near the largest", "1e308", '+', 1e308, 0},
                                      {"too small is zero", "1e-400", '+', 0, 0},
                                      {"too small negative is zero", "-1e-400", '+', 0, 0},
                                      {"zero, huge exponent", "0e999999", '+', 0, 0},
                                  });
        for (const char* t :
             {"abc",  "1,5",     "1.2.3",   "-",        "+",     " ",      "inf",
              "-inf", "nan",     "NaN",     "Infinity", "1e309", "-1e309", "1e99999999999999999999",
              "0x1A", "e5",      "1e",      "1e+",      ".",     "--1",    "1 2",
              "5-",   "\u30005", "5\u3000", "\u00A05",  "１２"})
            add_number_rows("double", {{nullptr, t, '-', 7, 'n'}});
        // to_int_check with the default 4.
        add_number_rows("int",
                        {
                            {"empty under 0", "", '0', 0, 'z'},
                            {"empty under +", "", '+', 0, 0},
                            {"one under 0", "1", '0', 1, 0},
                            {"C blanks and a plus sign", " +42\t\r\n", '+', 42, 0},
                            {"leading zeros past ten digits", "00000000000000000042", '+', 42, 0},
                            {"negative keeps its value", "-5", '+', -5, 'p'},
                            {"negative under another sign", "-5", 'X', -5, 'p'},
                            {"negative under -", "-5", '-', -5, 0},
                            {"zero under 0", "0", '0', 0, 'z'},
                            {"minus zero under 0", "-0", '0', 0, 'z'},
                            {"zero under +", "0", '+', 0, 0},
                            {"largest", "2147483647", '+', INT_MAX, 0},
                            {"smallest", "-2147483648", '-', INT_MIN, 0},
                        });
        for (const char* t :
             {"2147483648", "-2147483649", "9999999999", "123456789012345678901234567890", "1.5",
              "1.0", "1e3", "4 2", "+", "-", "+-1", "--1", "12a", "  ", "\u300042", "42\u3000",
              "１２", "0x10"})
            add_number_rows("int", {{nullptr, t, '-', 4, 'n'}});
    }
    void numbers() {
        QFETCH(bool, integer);
        QFETCH(QString, text);
        QFETCH(QChar, sign);
        QFETCH(double, value);
        QFETCH(char, verdict);
        const QString message = verdict == 'n'   ? u("not numeric ") + q(text)
                                : verdict == 'p' ? u("not plus ") + q(text)
                                : verdict == 'z' ? u("bad zero ") + q(text)
                                                 : before;
        for (int report : {1, 0}) {
            ctx->message = before;
            ctx->numeric_ok = verdict != 0; // every call sets it
            const double got = integer ? ctx->to_int_check(text, sign, 4, report)
                                       : ctx->to_double_o(text, sign, 7.0, report);
            QCOMPARE(got, value);
            QVERIFY(!std::signbit(got) || value < 0); // no "-0" to print
            QCOMPARE(ctx->numeric_ok, verdict == 0);
            QCOMPARE(ctx->message, report == 1 ? message : before);
        }
        // The plain integer conversion agrees wherever the text is an integer at all.
        if (integer) QCOMPARE(ctx->to_int1s_i(text), verdict == 'n' ? 0 : int(value));
    }

    // Number texts of any length are judged by the same rules, without failing.
    void numbers_of_any_length() {
        const QString nines(10 << 20, QLatin1Char('9'));
        const QString zeros(10 << 20, QLatin1Char('0'));
        QCOMPARE(ctx->to_double_o(nines, '+', 7, 1), 7.0); // about 1e10485760
        QCOMPARE(ctx->message, u("not numeric ") + q(nines));
        QCOMPARE(ctx->to_int_check(zeros + u("7"), '+', 4, 1), 7);
        QCOMPARE(ctx->to_double_o(u("0.") + zeros + u("1"), '+', 7, 1), 0.0);
        QCOMPARE(ctx->to_double_o(u("0.25") + zeros, '+', 7, 1), 0.25);
        QVERIFY(ctx->numeric_ok);
        QCOMPARE(ctx->to_double_o(zeros + u("x"), '+', 7, 1), 7.0);
    }

    void comparisons() {
        QVERIFY(!ctx->e2s_b(u("ABC"), u("XYZ")));
        QCOMPARE(ctx->compare_note, u("\"ABC\" not in('XYZ')"));
        QVERIFY(!ctx->e2s_b(u("abc"), u("ABC"))); // case counts
        QVERIFY(!ctx->e4s_b(u("Q"), u("A"), u("B"), u("C")));
        QCOMPARE(ctx->compare_note, u("\"Q\" not in('A','B','C')"));
        // A match leaves the last note alone.
        QVERIFY(ctx->e3s_b(u("B"), u("A"), u("B")));
        QCOMPARE(ctx->compare_note, u("\"Q\" not in('A','B','C')"));
        QVERIFY(
            !ctx->e9s_b(u("8"), u("1"), u("2"), u("3"), u("4"), u("5"), u("6"), u("7"), u("9")));
        QCOMPARE(ctx->compare_note, u("\"8\" not in('1','2','3','4','5','6','7','9')"));
        QVERIFY(ctx->e3i_b(3, 1, 3));
        QVERIFY(!ctx->e3i_b(2, 1, 3));
    }

    void substrings_padding_search() {
        // Positions and lengths count code units, and are clamped instead of failing.
        const QString abc = u("abc");
        QCOMPARE(ctx->substring3_s(abc, 2, 10), u("c"));
        QCOMPARE(ctx->substring3_s(abc, 5, 1), QString());
        QCOMPARE(ctx->substring3_s(abc, -3, 2), u("ab"));
        QCOMPARE(ctx->substring3_s(u("a😀"), 1, 1), QString(QChar(0xD83D)));
        QCOMPARE(ctx->substring2_s(abc, -1), abc);
        QCOMPARE(ctx->substring2_s(abc, 3), QString());
        QCOMPARE(ctx->at_s_c(abc, 3), QChar());
        QCOMPARE(ctx->length(u("a😀")), 3);

        const QString s = u("abcabc");
        QCOMPARE(ctx->index3s_i(s, u("bc"), 2), 4);
        QCOMPARE(ctx->last_index2c_i(s, QLatin1Char('a')), 3);

        // Padding counts code units, not columns, and never cuts.
        const QChar zero(u'0');
        QCOMPARE(ctx->pad_start_s(u("12"), 5, zero), u("00012"));
        QCOMPARE(ctx->pad_start_s(u("123456"), 5, zero), u("123456"));
        QCOMPARE(ctx->pad_end_s(u("ab"), 4), u("ab  "));
        QCOMPARE(ctx->pad_start_s(u("漢"), 3), u("  漢"));
        QCOMPARE(ctx->pad_start_s(u("😀"), 3), u(" 😀"));

        QCOMPARE(ctx->replace_s_s(u("aaa"), u("aa"), u("b")), u("ba"));
    }

    void trimming_data() {
        QTest::addColumn<QString>("s");
        QTest::addColumn<QString>("trim");  // every kind of blank, both ends
        QTest::addColumn<QString>("start"); // only the ASCII space
        QTest::addColumn<QString>("end");
        QTest::newRow("spaces") << u("  a b  ") << u("a b") << u("a b  ") << u("  a b");
        QTest::newRow("tabs") << u("\ta\t") << u("a") << u("\ta\t") << u("\ta\t");
        QTest::newRow("ideographic space behind a space")
            << u(" \u3000a\u3000 ") << u("a") << u("\u3000a\u3000 ") << u(" \u3000a\u3000");
        QTest::newRow("line ends") << u(" \r\n ") << QString() << u("\r\n ") << u(" \r\n");
        QTest::newRow("spaces only") << u("   ") << QString() << QString() << QString();
    }
    void trimming() {
        QFETCH(QString, s);
        QTEST(ctx->trim_s(s), "trim");
        QTEST(ctx->trim_start_s(s), "start");
        QTEST(ctx->trim_end_s(s), "end");
    }

    void split_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("pieces");
        QTest::newRow("empty pieces kept") << u("a,,b,") << QStringList{"a", "", "b", ""};
        QTest::newRow("empty string is one piece") << QString() << QStringList{""};
        QTest::newRow("separator alone") << u(",") << QStringList{"", ""};
        QTest::newRow("blanks stay") << u(" a , b ") << QStringList{" a ", " b "};
    }
    void split() {
        QFETCH(QString, text);
        QFETCH(QStringList, pieces);
        const s_l got = ctx->split_sx(text, QLatin1Char(','));
        QCOMPARE(got, pieces);
        QCOMPARE(ctx->count_sx_i(got), int(pieces.size()));
    }

    void lists_and_dates() {
        s_l strings = {u("a"), u("b")};
        QCOMPARE(ctx->at_s(&strings, 2), QString());
        i_l ints = {5};
        QCOMPARE(ctx->at_i(&ints, 1), 0);
        f_l floats = {1.5f};
        QCOMPARE(ctx->at_f(&floats, 1), 0.0f);
        p_l items;
        QCOMPARE(ctx->at_p(&items, 0), nullptr);
        const QDateTime t(QDate(2024, 3, 5), QTime(7, 8, 9, 45));
        QCOMPARE(ctx->date_time_s(t, 0), u("20240305070809045"));
        QCOMPARE(ctx->date_time_s(t, 1), u("2024-03-05 07:08:09.045"));
    }

    // ------------------------------------------------------------ character widths

    void kind_code_data() {
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("width");
        QTest::newRow("ASCII letter") << 0x41 << 1 << 1;
        QTest::newRow("hiragana") << 0x3042 << 2 << 2;
        QTest::newRow("ideographic space") << 0x3000 << 2 << 2;
        QTest::newRow("half-width middle dot, below FF66") << 0xFF65 << 2 << 2;
        QTest::newRow("first half-width katakana") << 0xFF66 << 3 << 1;
        QTest::newRow("last half-width mark") << 0xFF9F << 3 << 1;
        QTest::newRow("half-width hangul filler") << 0xFFA0 << 2 << 2;
        QTest::newRow("high surrogate") << 0xD83D << 4 << 2;
        QTest::newRow("low surrogate") << 0xDE00 << 5 << 0;
        QTest::newRow("zero width joiner") << 0x200D << 0 << 0;
        QTest::newRow("combining acute") << 0x301 << 0 << 0;
    }
    void kind_code() {
        QFETCH(int, code);
        QFETCH(int, kind);
        const QChar c(char16_t(code & 0xFFFF));
        QCOMPARE(ctx->kind_code(c), kind);
        QCOMPARE(ctx->kind_code(c), kind); // the second answer comes from the cache
        QTEST(ctx->form_length(c), "width");
    }

    void form_length_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("n");
        QTest::addColumn<int>("width");
        QTest::newRow("ASCII") << u("ABC") << 3 << 3;
        QTest::newRow("kanji") << u("漢字列") << 3 << 6;
        QTest::newRow("half-width katakana") << u("ｱｲｳ") << 3 << 3;
        QTest::newRow("pair counts two") << u("A😀B") << 4 << 4;
        QTest::newRow("high surrogate counts the pair") << u("😀") << 1 << 2;
        QTest::newRow("negative") << u("漢") << -4 << 0;
        QTest::newRow("beyond the end") << u("漢A") << 99 << 3;
        QTest::newRow("lone low surrogate") << u("x") + QChar(0xDE00) << 2 << 1;
        QTest::newRow("lone high surrogate") << u("x") + QChar(0xD83D) << 2 << 3;
        QTest::newRow("combining mark") << u("e\u0301") << 2 << 1;
    }
    void form_length() {
        QFETCH(QString, text);
        QFETCH(int, n);
        QFETCH(int, width);
        QCOMPARE(ctx->form_length(text, n), width);
        if (n == text.size()) QCOMPARE(ctx->form_length(text), width);
    }

    // ------------------------------------------------------------ text files

    void read_lines_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QStringList>("lines");
        const auto row = [](const char* tag, const QByteArray& bytes, const char* encoding,
                            const QStringList& lines) {
            QTest::newRow(tag) << bytes << u(encoding) << lines;
        };
        for (const char* e : {"UTF-8", "sjis", "eucjp", "latin1"})
            QTest::addRow("CR LF, %s", e) << b("a\r\nb\r\n") << u(e) << QStringList{"a", "b"};
        row("last line without line feed", b("a\nb"), "", {"a", "b"});
        row("empty file", QByteArray(), "", {});
        row("empty lines", b("a\r\n\r\n\n"), "", {"a", "", ""});
        row("lone CR stays", b("a\rb\n"), "", {"a\rb"});
        row("UTF-8", b("\xE6\xBC\xA2\t\n"), "utf-8", {u("漢\t")});
        row("bad UTF-8 bytes", b("a\xFF\xFE\n"), "UTF-8", {"a" + fffd + fffd});
        row("UTF-8 lead byte at a line end", b("\xE3\nB"), "UTF-8", {fffd, "B"});
        row("Shift-JIS, Windows extensions", b("\x87\x40\x87\x8A\x81\x60\x8A\xBF\r\n\xB1\xB2\n"),
            "SJIS", {u("①㈱～漢"), u("ｱｲ")});
        row("Shift-JIS controls", b("\x1A\x1C\x7F\t\n"), "sjis", {u("\x1A\x1C\x7F\t")});
        row("Shift-JIS cut at the end", b("abc\x82"), "sjis", {"abc" + fffd});
        row("Shift-JIS cut at a line end", b("\x8A\xBF\x8E\r\nx"), "sjis", {u("漢") + fffd, "x"});
        row("Shift-JIS lead, no trail", b("a\x81 z\n"), "sjis", {"a" + fffd + " z"});
        row("EUC-JP", b("\xA4\xA2\xB4\xC1\n"), "EUC-JP", {u("あ漢")});
        row("EUC-JP cut at a line end", b("a\xB4\nB\n"), "eucjp", {"a" + fffd, "B"});
        row("UTF-8 mark beats Shift-JIS", b("\xEF\xBB\xBF\xE3\x81\x82\nb"), "sjis", {u("あ"), "b"});
        row("mark only at the start", b("a\n\xEF\xBB\xBF"), "", {"a", u("\uFEFF")});
        // 上 is U+4E0A: its low byte is a line feed that must not end the line.
        row("UTF-16 LE", b("\xFF\xFE\x61\0\r\0\n\0\x0A\x4E\x42\x30\n\0\x62\0"), "sjis",
            {"a", u("上あ"), "b"});
        row("UTF-16 BE, a pair", b("\xFE\xFF\x4E\x0A\xD8\x3D\xDE\x00\0\n\0\r\0\n"), "",
            {u("上😀"), ""});
        row("UTF-16 controls stay", b("\xFF\xFE\x1A\0\x1C\0\x7F\0"), "sjis", {u("\x1A\x1C\x7F")});
        row("UTF-16 odd byte at the end", b("\xFF\xFE\x61\0\x62"), "", {"a" + fffd});
        row("UTF-16 pair cut by a line end", b("\xFF\xFE\x3D\xD8\n\0\0\xDE"), "", {fffd, fffd});
    }
    void read_lines() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, encoding);
        spit(path("lines.txt"), bytes);
        QTEST(read_lines(path("lines.txt"), encoding), "lines");
    }

    void read_raw_is_ascii_compatible() {
        // Page skipping counts TAB bytes; in a UTF-16 file they must still be single
        // bytes. U+0109 has 0x09 as its low byte and is no TAB.
        spit(path("raw16.txt"), b("\xFF\xFE\x61\0\t\0\x09\x01\t\0\n\0"));
        qx_read_l reader(ctx.get());
        QVERIFY(reader.open_b(path("raw16.txt"), QString()));
        QCOMPARE(reader.encoding(), u("UTF-16LE"));
        QCOMPARE(reader.read_raw(), 0);
        QCOMPARE(QString::fromUtf8(reader.raw_line), u("a\t\u0109\t"));
        QCOMPARE(reader.read_raw(), 1);
    }

    void reader_misuse() {
        qx_read_l reader(ctx.get());
        QCOMPARE(reader.read(), 5);
        QCOMPARE(ctx->message, u("not open read"));

        const QString missing = path("no-such-file.txt");
        QVERIFY(!reader.open_b(missing, QString()));
        QCOMPARE(ctx->message, u("open read error(") + missing + u(")"));
        QVERIFY(!reader.is_open());

        spit(path("one.txt"), "1a\n1b\n");
        spit(path("two.txt"), "2a\n");
        QVERIFY(reader.open_b(path("one.txt"), QString()));
        QCOMPARE(reader.read(), 0);
        QVERIFY(!reader.open_b(path("two.txt"), QString()));
        QCOMPARE(ctx->message, u("already open read"));
        QCOMPARE(reader.read(), 0); // the first file is still being read
        QCOMPARE(reader.line, u("1b"));
        reader.read_close_v();
        reader.read_close_v(); // harmless when closed
        QCOMPARE(reader.read(), 5);
        QVERIFY(reader.open_b(path("two.txt"), QString())); // reusable after closing
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.line, u("2a"));
        reader.read_close_v();

        // A file that opens but cannot be read: one error, then the end of the file.
        const QString unreadable = u("/proc/self/mem");
        QVERIFY(reader.open_b(unreadable, QString()));
        QCOMPARE(reader.read(), 2);
        QCOMPARE(ctx->message, u("read error(") + unreadable + u(")"));
        QCOMPARE(reader.read(), 1);
        QCOMPARE(reader.read(), 1);
    }

    void overlong_lines_data() {
        QTest::addColumn<qsizetype>("length"); // in bytes
        QTest::addColumn<QByteArray>("line_end");
        QTest::addColumn<bool>("utf16");
        QTest::addColumn<bool>("delivered");
        const qsizetype max = qx_line_buffer_l::max_line;
        const QByteArray lf("\n"), none;
        QTest::newRow("longest") << max << lf << false << true;
        QTest::newRow("longest with CR") << max << QByteArray("\r\n") << false << true;
        QTest::newRow("one too long") << max + 1 << lf << false << false;
        QTest::newRow("far too long") << 3 * max << lf << false << false;
        QTest::newRow("too long at the end") << max + 1 << none << false << false;
        QTest::newRow("UTF-16, longest") << max << lf << true << true;
        QTest::newRow("UTF-16, one unit too long") << max + 2 << lf << true << false;
    }
    void overlong_lines() {
        QFETCH(qsizetype, length);
        QFETCH(QByteArray, line_end);
        QFETCH(bool, utf16);
        QFETCH(bool, delivered);
        QByteArray bytes = "first\n" + QByteArray(utf16 ? length / 2 : length, 'x') + line_end +
                           (line_end.isEmpty() ? "" : "last\n");
        if (utf16) { // each character a unit of two bytes; lengths count bytes
            QStringEncoder to_utf16(QStringConverter::Utf16LE);
            bytes = "\xFF\xFE" + QByteArray(to_utf16.encode(QString::fromLatin1(bytes)));
        }
        const QString file = path("long.txt");
        spit(file, bytes);
        bytes.clear();
        qx_read_l reader(ctx.get());
        QVERIFY(reader.open_b(file, QString()));
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.line, u("first"));
        if (delivered) {
            QCOMPARE(reader.read(), 0);
            QCOMPARE(reader.line.size(), utf16 ? length / 2 : length);
        } else {
            QCOMPARE(reader.read(), 2);
            QCOMPARE(ctx->message, u("line too long(") + file + u(")"));
            QVERIFY(reader.line.isEmpty());
        }
        if (!line_end.isEmpty()) {
            QCOMPARE(reader.read(), 0);
            QCOMPARE(reader.line, u("last"));
        }
        QCOMPARE(reader.read(), 1);
    }

    void file_encoding_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<bool>("reads_right"); // read as told, the first line ends in 請求書
        const QByteArray sjis("\x90\xBF\x8B\x81\x8F\x91");             // 請求書
        const QByteArray utf8("\xE8\xAB\x8B\xE6\xB1\x82\xE6\x9B\xB8"); // 請求書
        const QByteArray ascii(2 << 20, 'a');
        const QString u8 = u("UTF-8"), sj = u("Shift-JIS");
        QTest::newRow("ASCII") << b("a\tb\n") << u8 << false;
        QTest::newRow("Shift-JIS after 2 MB of ASCII") << ascii + sjis << sj << true;
        QTest::newRow("UTF-8 after 2 MB of ASCII") << ascii + utf8 << u8 << true;
        QTest::newRow("Shift-JIS after UTF-8 and 4 MB")
            << utf8 + ascii + ascii + sjis << sj << false;
        QTest::newRow("mark beats Shift-JIS bytes") << b("\xEF\xBB\xBF") + sjis << u8 << false;
        QTest::newRow("UTF-8 across block ends") << utf8.left(3).repeated(100000) << u8 << false;
        QTest::newRow("UTF-8 cut by the end of the file") << b("abc\xE6\xBC") << sj << false;
        QTest::newRow("overlong form") << b("\xE0\x80\x80") << sj << false;
        QTest::newRow("encoded surrogate") << b("\xED\xA0\x80") << sj << false;
        QTest::newRow("above U+10FFFF") << b("\xF4\x90\x80\x80") << sj << false;
        // The same, and the edges of the narrower ranges, where the check takes whole
        // chunks of 16 or 32 bytes: inside the one chunk of a file shorter than 32
        // bytes, and across the end of a chunk that more whole chunks follow.
        for (const int before : {1, 30}) {
            const QByteArray head(before, 'a'), tail(before == 1 ? 12 : 40, 'a');
            const QByteArray at = QByteArray::number(before);
            QTest::newRow("overlong form at " + at)
                << head + b("\xE0\x9F\xBF") + tail << sj << false;
            QTest::newRow("surrogate at " + at) << head + b("\xED\xA0\x80") + tail << sj << false;
            QTest::newRow("short four bytes at " + at)
                << head + b("\xF0\x8F\xBF\xBF") + tail << sj << false;
            QTest::newRow("above U+10FFFF at " + at)
                << head + b("\xF4\x90\x80\x80") + tail << sj << false;
            QTest::newRow("lone continuation at " + at)
                << head + b("\x80\x80") + tail << sj << false;
            QTest::newRow("range edges at " + at)
                << head + b("\xE0\xA0\x80\xED\x9F\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF") + tail << u8
                << false;
        }
        // Not UTF-8, so Shift-JIS; the reader then goes by the byte-order mark.
        QTest::newRow("UTF-16 mark") << b("\xFF\xFE\xCB\x8A\x42\x6C\xF8\x66") << sj << true;
    }
    void file_encoding() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, reads_right);
        const QString file = path("judge.txt");
        spit(file, bytes);
        QTEST(ctx->file_encoding_s(file), "encoding");
        if (reads_right) {
            qx_read_l reader(ctx.get());
            QVERIFY(reader.open_b(file, ctx->file_encoding_s(file)));
            QCOMPARE(reader.read(), 0);
            QVERIFY(reader.line.endsWith(u("請求書")));
        }
        ctx->forced_encoding = u("euc_jp");
        QCOMPARE(ctx->file_encoding_s(file), u("EUC-JP"));
        ctx->forced_encoding.clear();
        QCOMPARE(ctx->file_encoding_s(path("missing.txt")), u("UTF-8"));
    }

    void writer_line_ends_data() {
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes"); // of one line; it is written twice
        QTest::newRow("UTF-8, no mark") << u("UTF-8") << u("あ") << b("\xE3\x81\x82\n");
        QTest::newRow("windows ends") << u("UTF-8,W") << u("a") << b("a\r\n");
        QTest::newRow("unix ends, lower case") << u("UTF-8,u") << u("a") << b("a\n");
        QTest::newRow("empty style") << u("UTF-8,") << u("a") << b("a\n");
        QTest::newRow("any other style is windows") << u("UTF-8,X") << u("a") << b("a\r\n");
        QTest::newRow("blanks around the pieces")
            << u(" sjis , w ,x") << u("①～") << b("\x87\x40\x81\x60\r\n");
        QTest::newRow("Shift-JIS controls")
            << u("sjis") << u("漢\x1A\x1C\x7F") << b("\x8A\xBF\x1A\x1C\x7F\n");
        QTest::newRow("EUC-JP") << u("euc_jp,U") << u("漢\x1A") << b("\xB4\xC1\x1A\n");
    }
    void writer_line_ends() {
        QFETCH(QString, encoding);
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        qx_write_l writer(ctx.get());
        QVERIFY(writer.open_b(path("out.txt"), u("OT"), encoding));
        QVERIFY(writer.write_b(text));
        QVERIFY(writer.write_b(text));
        writer.write_close_v();
        QCOMPARE(slurp(path("out.txt")), bytes + bytes);
    }

    void writer_modes_and_misuse() {
        qx_write_l writer(ctx.get());
        QVERIFY(!writer.write_b(u("x")));
        QCOMPARE(ctx->message, u("not open write"));
        QVERIFY(!writer.open_b(path("no/such/dir.txt"), u("OT"), u("/")));
        QCOMPARE(ctx->message, u("Open Write error"));
        QVERIFY(!writer.write_b(u("x")));

        // ADD appends; a second open is refused and leaves the first file as it was.
        const QString file = path("mode.txt");
        spit(file, "old\n");
        QVERIFY(writer.open_b(file, u("ADD"), u("/")));
        QVERIFY(!writer.open_b(path("second.txt"), u("OT"), u("UTF-8,W")));
        QCOMPARE(ctx->message, u("already open write"));
        QVERIFY(writer.write_b(u("a")));
        writer.write_close_v();
        writer.write_close_v(); // harmless when closed
        QCOMPARE(slurp(file), b("old\na\n"));
        QVERIFY(!QFile::exists(path("second.txt")));
        // Any mode but ADD writes afresh.
        QVERIFY(writer.open_b(file, u("add"), u("/")) && writer.write_b(u("b")));
        writer.write_close_v();
        QCOMPARE(slurp(file), b("b\n"));

        // On Windows no style means CR LF; "U" still means LF.
        ctx->platform_code = QLatin1Char('W');
        const bool crlf = writer.open_b(file, u("OT"), u("UTF-8")) && writer.write_b(u("c"));
        writer.write_close_v();
        const bool lf = writer.open_b(file, u("ADD"), u("UTF-8,U")) && writer.write_b(u("d"));
        writer.write_close_v();
        ctx->platform_code = QLatin1Char('U');
        QVERIFY(crlf && lf);
        QCOMPARE(slurp(file), b("c\r\nd\n"));
    }

    // Files made by the system's iconv read back as the same text, and written again
    // they are the same bytes.
    void japanese_round_trip_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("charset");
        QTest::addColumn<QString>("read_as");
        QTest::addColumn<QString>("write_as");
        QTest::newRow("code page 932")
            << u("請求書 ①㈱～") << u("CP932") << u("sjis") << u("Shift_JIS");
        QTest::newRow("code page 932, symbols and controls")
            << u("髙﨑 Ⅲ ≒ ∵ ― ∥ ＼ ｱｲｳ \\~ \x1A\x1C\x7F") << u("CP932") << u("SHIFT-JIS")
            << u("sjis");
        QTest::newRow("EUC-JP") << u("請求書 納品書 ｱｲｳ") << u("EUC-JP") << u("eucjp")
                                << u("EUC-JP");
    }
    void japanese_round_trip() {
        QFETCH(QString, text);
        QFETCH(QString, charset);
        QFETCH(QString, read_as);
        QFETCH(QString, write_as);
        const QByteArray bytes = iconv_to(text + u("\n2行目\n"), charset);
        QVERIFY2(!bytes.isEmpty(), "iconv failed");
        spit(path("jp.txt"), bytes);
        const QStringList lines = read_lines(path("jp.txt"), read_as);
        QCOMPARE(lines, (QStringList{text, u("2行目")}));
        qx_write_l writer(ctx.get());
        QVERIFY(writer.open_b(path("jp2.txt"), u("OT"), write_as));
        for (const QString& line : lines)
            QVERIFY(writer.write_b(line));
        writer.write_close_v();
        QCOMPARE(slurp(path("jp2.txt")), bytes);
    }

    // ------------------------------------------------------------ VERSION report

    void version_report_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("report"); // empty: no VERSION request
        const QStringList vv{"VERSION", "VERSION"};
        const QString korvan = u("KORVAN");
        QTest::newRow("KORVAN") << korvan << vv << b("14\n");
        QTest::newRow("any case") << korvan << QStringList{"version", "Version"} << b("14\n");
        QTest::newRow("BELDOM") << u("BELDOM") << vv << b("2\n");
        QTest::newRow("any other program") << u("OTHER") << vv << b("37\t000800017\n");
        QTest::newRow("program names are exact") << u("korvan") << vv << b("37\t000800017\n");
        QTest::newRow("one word") << korvan << QStringList{"VERSION"} << QByteArray();
        QTest::newRow("three words") << korvan << vv + QStringList{"X"} << QByteArray();
        QTest::newRow("second word differs")
            << korvan << QStringList{"VERSION", "DISPLAY"} << QByteArray();
        QTest::newRow("first word differs")
            << korvan << QStringList{"DISPLAY", "VERSION"} << QByteArray();
        QTest::newRow("blank after")
            << korvan << QStringList{"VERSION ", "VERSION"} << QByteArray();
        QTest::newRow("nothing") << korvan << QStringList{} << QByteArray();
    }
    void version_report() {
        QFETCH(QString, program);
        QFETCH(QStringList, args);
        QFETCH(QByteArray, report);
        QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(u("Q/TMP")));
        const QString file = root.path() + u("/Q/TMP/VERSION_") + program + u(".TXT");
        const QByteArray older("an older, longer report\n");
        spit(file, older);
        qx_z_l context(program, 1, argv_run);
        context.root_directory = root.path();
        QCOMPARE(context.version->version_b(&args), !report.isEmpty());
        QCOMPARE(slurp(file), report.isEmpty() ? older : report);

        // No work directory: the request is still answered, and nothing is created.
        context.root_directory = root.path() + u("/gone");
        context.message = before;
        QCOMPARE(context.version->version_b(&args), !report.isEmpty());
        QCOMPARE(context.message, report.isEmpty() ? before : u("Open Write error"));
        QVERIFY(!QFile::exists(root.path() + u("/gone")));
    }
};

QTEST_MAIN(test_core)
#include "test_core.moc"
