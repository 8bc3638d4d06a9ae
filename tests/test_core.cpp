// The program context: start-up fields, number parsing, string and list helpers, paths,
// character widths, text files in their encodings and the VERSION report.
#include "core/qx_z.h"
#include "core/textfile.h"
#include "core/version.h"

#include <QFontInfo>
#include <QTemporaryDir>
#include <QtTest>
#include <climits>
#include <iterator>
#include <memory>

namespace {

char arg0[] = "/usr/bin/KORVAN";
char arg1[] = "DISPLAY";
char arg2[] = "";
char arg3[] = "\xE5\xB8\xB3\xE7\xA5\xA8.csv"; // 帳票.csv in UTF-8, the local encoding
char* argv_run[] = {arg0, arg1, arg2, arg3, nullptr};

QString u(const char* utf8) {
    return QString::fromUtf8(utf8);
}

void write_bytes(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

QByteArray file_bytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

// Rows of the two number parsers; a null message means the message is left alone.
struct number_row {
    const char* tag;
    const char* text;
    char sign;
    int report;
    double value;
    bool ok;
    const char* message;
};

void add_number_rows(const char* parser, const number_row* rows, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const number_row& r = rows[i];
        const QByteArray tag = QByteArray(parser) + ": " + r.tag;
        QTest::newRow(tag.constData())
            << (parser[0] == 'i') << u(r.text) << QChar(QLatin1Char(r.sign)) << r.report << r.value
            << r.ok << (r.message ? u(r.message) : QStringLiteral("(before)"));
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
    // The short host name from the first line of "hostname".
    {"machine", "dotted: the line feed goes with the domain", "ws-07.lab\n", "ws-07"},
    {"machine", "no dot keeps the line feed", "ws-07\n", "ws-07\n"},
    {"machine", "blanks before the line feed stay", "ws  \n", "ws  \n"},
    {"machine", "trailing blanks go", "ws-07  ", "ws-07"},
    {"machine", "several dots", "a.b.c\n", "a"},
    {"machine", "empty", "", ""},
    // The printable version for the general number 37.
    {"label", "this program", "000800017", "37/8.0.17"},
    {"label", "all zero keeps a digit each", "000000000", "37/0.0.0"},
    {"label", "no zeros", "123456789", "37/1234.56.789"},
    {"label", "inner zeros stay", "001002100", "37/10.2.100"},
    {"label", "minor loses at most one", "000100001", "37/1.0.1"},
    // Canonical encoding names.
    {"encode", "slash", "/", "UTF-8"},
    {"encode", "empty", "", "UTF-8"},
    {"encode", "utf8", "utf8", "UTF-8"},
    {"encode", "Utf_8", "Utf_8", "UTF-8"},
    {"encode", "eucjp", "eucjp", "EUC-JP"},
    {"encode", "euc_jp", "euc_jp", "EUC-JP"},
    {"encode", "sjis", "sjis", "Shift-JIS"},
    {"encode", "Shift_JIS", "Shift_JIS", "Shift-JIS"},
    {"encode", "SHIFT-JIS", "SHIFT-JIS", "Shift-JIS"},
    {"encode", "unknown is upper-cased", "latin1", "LATIN1"},
    {"encode", "no trimming", " sjis", " SJIS"},
    // The encoding KORVAN_ENCODING forces.
    {"environment", "sjis", "sjis", "Shift-JIS"},
    {"environment", "euc_jp", "euc_jp", "EUC-JP"},
    {"environment", "utf8", "utf8", "UTF-8"},
    {"environment", "empty means unset", "", ""},
    {"environment", "unknown is ignored", "latin1", ""},
    // The path opened for a name: itself when it carries its location, else in the
    // work directory.
    {"work file", "bare", "KORVAN.CSV", "/home/Q/TMP/KORVAN.CSV"},
    {"work file", "sub directory is bare", "sub/a.csv", "/home/Q/TMP/sub/a.csv"},
    {"work file", "one character", "K", "/home/Q/TMP/K"},
    {"work file", "dot alone", ".", "/home/Q/TMP/."},
    {"work file", "dot dot alone", "..", "/home/Q/TMP/.."},
    {"work file", "hidden file", ".korvan", "/home/Q/TMP/.korvan"},
    {"work file", "dot backslash on unix", ".\\a.csv", "/home/Q/TMP/.\\a.csv"},
    {"work file", "empty", "", "/home/Q/TMP/"},
    {"work file", "drive letter", "C:\\forms\\a.csv", "C:\\forms\\a.csv"},
    {"work file", "any colon second", "a:", "a:"},
    {"work file", "separator alone", "/", "/"},
    {"work file", "relative", "./KORVAN.CSV", "./KORVAN.CSV"},
    {"work file", "parent", "../data/KORVAN.TXT", "../data/KORVAN.TXT"},
    {"work file", "not normalised", "/a//b/../c", "/a//b/../c"},
};

} // namespace

class test_core : public QObject {
    Q_OBJECT

    std::unique_ptr<qx_z_l> ctx;
    QTemporaryDir tmp;
    QString path(const QString& name) const { return tmp.filePath(name); }

    // Every line of a file, read to the end; the status after the last line must be 1.
    QStringList read_lines(const QString& file, const QString& encoding) {
        qx_read_l reader(ctx.get());
        QStringList lines;
        if (!reader.open_b(file, encoding)) return {QStringLiteral("<open failed>")};
        int status;
        while ((status = reader.read()) == 0)
            lines.append(reader.line);
        if (status != 1) lines.append(QStringLiteral("<status %1>").arg(status));
        if (!reader.line.isEmpty()) lines.append(QStringLiteral("<line not emptied>"));
        if (reader.read() != 1) lines.append(QStringLiteral("<end not repeated>"));
        return lines;
    }

    // Runs the VERSION request with the work directory under `root`.
    bool version_request_in(qx_z_l* context, const QString& root, s_l arguments) {
        const QString saved = context->root_directory;
        context->root_directory = root;
        const bool handled = context->version->version_b(&arguments);
        context->root_directory = saved;
        return handled;
    }

private slots:
    void initTestCase() {
        QVERIFY(tmp.isValid());
        QVERIFY(QDir().mkpath(path(QStringLiteral("root/Q/TMP"))));
        qunsetenv("KORVAN_ENCODING");
        ctx = std::make_unique<qx_z_l>(QStringLiteral("KORVAN"), 4, argv_run);
    }

    // ------------------------------------------------------------ start-up

    void startup_fields() {
        QCOMPARE(ctx->program_name, QStringLiteral("KORVAN"));
        QCOMPARE(ctx->program_path, QStringLiteral("/usr/bin/KORVAN"));
        QCOMPARE(ctx->program_directory, QStringLiteral("/usr/bin/"));
        QCOMPARE(ctx->arguments, (s_l{QStringLiteral("DISPLAY"), QString(), u("帳票.csv")}));
        QCOMPARE(ctx->platform_code, QChar(u'U'));
        QCOMPARE(ctx->path_separator, QStringLiteral("/"));
        QCOMPARE(ctx->delete_command, QStringLiteral("RM"));
        QCOMPARE(ctx->root_directory, QStringLiteral("/home"));
        QCOMPARE(ctx->current_directory, QDir::currentPath());
        QCOMPARE(ctx->version_label, QStringLiteral("37/8.0.17"));
        QCOMPARE(ctx->product_code, QStringLiteral("Q37"));

        const int rgb[11][3] = {{255, 255, 255}, {224, 224, 224}, {210, 210, 210}, {128, 128, 128},
                                {0, 0, 0},       {255, 255, 128}, {255, 128, 192}, {128, 255, 128},
                                {128, 192, 255}, {255, 191, 127}, {192, 128, 255}};
        QCOMPARE(ctx->palette.size(), qsizetype(11));
        for (int i = 0; i < 11; ++i) {
            QCOMPARE(ctx->palette.at(i).style(), Qt::SolidPattern);
            QCOMPARE(ctx->palette.at(i).color(), QColor(rgb[i][0], rgb[i][1], rgb[i][2], 255));
        }

        QCOMPARE(ctx->default_font.family(), QStringLiteral("MS Gothic"));
        QCOMPARE(ctx->default_font.pointSize(), 12);
        QVERIFY(!ctx->default_font.italic());
        QCOMPARE(ctx->default_font.weight(), QFont::Normal);
        // Layouts name the Windows fonts; here they must draw in the IPA fonts.
        QCOMPARE(QFontInfo(ctx->default_font).family(), QStringLiteral("IPAGothic"));
        QCOMPARE(QFontInfo(QFont(u("ＭＳ 明朝"), 12)).family(), QStringLiteral("IPAMincho"));
    }

    void program_directory_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QString>("directory");
        const QString slash = QStringLiteral("/"), backslash = QStringLiteral("\\");
        QTest::newRow("bare name: its first character") << u("KORVAN") << slash << u("K");
        QTest::newRow("relative") << u("bin/KORVAN") << slash << u("bin/");
        QTest::newRow("separator at 0 not looked at") << u("/KORVAN") << slash << slash;
        QTest::newRow("separator last") << u("ab/") << slash << u("ab/");
        QTest::newRow("one character") << u("K") << slash << u("K");
        QTest::newRow("empty") << QString() << slash << QString();
        QTest::newRow("windows") << u("C:\\Q\\KORVAN.EXE") << backslash << u("C:\\Q\\");
        QTest::newRow("slash is no windows separator") << u("C:/Q/KORVAN") << backslash << u("C");
    }
    void program_directory() {
        QFETCH(QString, program);
        QFETCH(QString, separator);
        QFETCH(QString, directory);
        QCOMPARE(qx_z_l::program_directory_s(program, separator), directory);
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
        if (rule == QLatin1String("machine")) {
            got = ctx->machine_name_from_s(in);
        } else if (rule == QLatin1String("label")) {
            got = qx_z_l::version_label_s(in, 37);
        } else if (rule == QLatin1String("encode")) {
            got = ctx->encode_s(in);
        } else if (rule == QLatin1String("environment")) {
            qputenv("KORVAN_ENCODING", in.toUtf8());
            got = qx_z_l(QStringLiteral("KORVAN"), 1, argv_run).forced_encoding;
            qunsetenv("KORVAN_ENCODING");
        } else {
            got = ctx->get_tmp_file_s(in);
            QCOMPARE(ctx->check_path_b(in), in == out);
        }
        QCOMPARE(got, out);
    }

    void installed_family_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("installed");
        QTest::newRow("windows name") << "MS Gothic" << true;
        QTest::newRow("windows name, other case") << "ms mincho" << true;
        QTest::newRow("japanese spelling") << u("ＭＳ Ｐゴシック") << true;
        QTest::newRow("ui gothic") << "MS UI Gothic" << true;
        QTest::newRow("real family, other case") << "ipagothic" << true;
        QTest::newRow("unknown") << "No Such Family 4711" << false;
        QTest::newRow("empty") << "" << false;
    }
    void installed_family() {
        QFETCH(QString, name);
        QFETCH(bool, installed);
        const QString family = qx_z_l::installed_family_s(name);
        QCOMPARE(!family.isEmpty(), installed);
        // Whatever is returned must draw in an IPA font.
        if (installed)
            QVERIFY2(QFontInfo(QFont(family, 12)).family().startsWith(QLatin1String("IPA")),
                     qPrintable(family));
    }

    // ------------------------------------------------------------ numbers and strings

    void numbers_data() {
        QTest::addColumn<bool>("integer");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QChar>("sign");
        QTest::addColumn<int>("report");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("message");
        // to_double_o with the default 7.
        static const number_row doubles[] = {
            {"empty is zero, not the default", "", '+', 1, 0.0, true, nullptr},
            {"plain", "12.5", '+', 1, 12.5, true, nullptr},
            {"C blanks around", " \t3.25\r\n", '+', 1, 3.25, true, nullptr},
            {"exponent", "-1.5E2", '-', 1, -150.0, true, nullptr},
            {"leading point", ".5", '+', 1, 0.5, true, nullptr},
            {"trailing point", "5.", '+', 1, 5.0, true, nullptr},
            {"negative under +", "-5", '+', 1, 7.0, false, "not plus \"-5\""},
            {"negative under -", "-5", '-', 1, -5.0, true, nullptr},
            {"negative under 0", "-5", '0', 1, -5.0, true, nullptr},
            {"negative, no report", "-5", '+', 0, 7.0, false, nullptr},
            {"minus zero", "-0", '+', 1, 0.0, true, nullptr},
            {"letters", "abc", '+', 1, 7.0, false, "not numeric \"abc\""},
            {"comma", "1,5", '+', 1, 7.0, false, "not numeric \"1,5\""},
            {"two points", "1.2.3", '+', 1, 7.0, false, "not numeric \"1.2.3\""},
            {"sign alone", "-", '-', 1, 7.0, false, "not numeric \"-\""},
            {"blank alone", " ", '+', 1, 7.0, false, "not numeric \" \""},
            {"inf", "inf", '-', 1, 7.0, false, "not numeric \"inf\""},
            {"nan", "nan", '-', 1, 7.0, false, "not numeric \"nan\""},
            {"overflow", "1e999", '-', 1, 7.0, false, "not numeric \"1e999\""},
            {"hex", "0x1A", '-', 1, 7.0, false, "not numeric \"0x1A\""},
            {"ideographic space", "　5", '+', 1, 7.0, false, "not numeric \"　5\""},
            {"full-width digits", "１２", '+', 1, 7.0, false, "not numeric \"１２\""},
        };
        // to_int_check with the default 4.
        static const number_row ints[] = {
            {"empty under 0", "", '0', 1, 0, false, "bad zero \"\""},
            {"empty under 0, no report", "", '0', 0, 0, false, nullptr},
            {"empty under +", "", '+', 1, 0, true, nullptr},
            {"empty under -", "", '-', 1, 0, true, nullptr},
            {"plain", "12", '0', 1, 12, true, nullptr},
            {"blanks and a plus sign", " +42\t", '+', 1, 42, true, nullptr},
            {"leading zeros", "007", '+', 1, 7, true, nullptr},
            {"negative keeps its value", "-5", '+', 1, -5, false, "not plus \"-5\""},
            {"negative under 0", "-5", '0', 1, -5, false, "not plus \"-5\""},
            {"negative under another sign", "-5", 'X', 1, -5, false, "not plus \"-5\""},
            {"negative under -", "-5", '-', 1, -5, true, nullptr},
            {"zero under 0", "0", '0', 1, 0, false, "bad zero \"0\""},
            {"minus zero under 0", "-0", '0', 1, 0, false, "bad zero \"-0\""},
            {"zero under +", "0", '+', 1, 0, true, nullptr},
            {"largest", "2147483647", '+', 1, INT_MAX, true, nullptr},
            {"smallest", "-2147483648", '-', 1, INT_MIN, true, nullptr},
            {"one past largest", "2147483648", '+', 1, 4, false, "not numeric \"2147483648\""},
            {"one past smallest", "-2147483649", '-', 1, 4, false, "not numeric \"-2147483649\""},
            {"ten digits", "9999999999", '+', 1, 4, false, "not numeric \"9999999999\""},
            {"thirty digits", "123456789012345678901234567890", '-', 1, 4, false,
             "not numeric \"123456789012345678901234567890\""},
            {"fraction", "1.5", '+', 1, 4, false, "not numeric \"1.5\""},
            {"inner blank", "4 2", '+', 1, 4, false, "not numeric \"4 2\""},
            {"sign alone", "+", '+', 1, 4, false, "not numeric \"+\""},
            {"two signs", "--1", '-', 1, 4, false, "not numeric \"--1\""},
            {"letters, no report", "x", '+', 0, 4, false, nullptr},
            {"full-width digits", "１２", '+', 1, 4, false, "not numeric \"１２\""},
        };
        add_number_rows("double", doubles, std::size(doubles));
        add_number_rows("int", ints, std::size(ints));
    }
    void numbers() {
        QFETCH(bool, integer);
        QFETCH(QString, text);
        QFETCH(QChar, sign);
        QFETCH(int, report);
        QFETCH(double, value);
        QFETCH(bool, ok);
        QFETCH(QString, message);
        ctx->message = QStringLiteral("(before)");
        ctx->numeric_ok = !ok;
        if (integer)
            QCOMPARE(ctx->to_int_check(text, sign, 4, report), int(value));
        else
            QCOMPARE(ctx->to_double_o(text, sign, 7.0, report), value);
        QCOMPARE(ctx->numeric_ok, ok);
        QCOMPARE(ctx->message, message);
        // The plain integer conversion agrees wherever the text is an integer at all.
        if (integer) {
            const bool number = ok || message.startsWith(QLatin1String("not plus"));
            QCOMPARE(ctx->to_int1s_i(text), number ? int(value) : 0);
        }
    }

    void comparisons() {
        QVERIFY(!ctx->e2s_b(QStringLiteral("ABC"), QStringLiteral("XYZ")));
        QCOMPARE(ctx->compare_note, QStringLiteral("\"ABC\" not in('XYZ')"));
        QVERIFY(!ctx->e2s_b(QStringLiteral("abc"), QStringLiteral("ABC"))); // case counts
        QVERIFY(!ctx->e4s_b(QStringLiteral("Q"), QStringLiteral("A"), QStringLiteral("B"),
                            QStringLiteral("C")));
        QCOMPARE(ctx->compare_note, QStringLiteral("\"Q\" not in('A','B','C')"));
        // A match leaves the last note alone.
        QVERIFY(ctx->e3s_b(QStringLiteral("B"), QStringLiteral("A"), QStringLiteral("B")));
        QCOMPARE(ctx->compare_note, QStringLiteral("\"Q\" not in('A','B','C')"));
        const QString s[9] = {"1", "2", "3", "4", "5", "6", "7", "8", "9"};
        QVERIFY(ctx->e9s_b(s[8], s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[8]));
        QVERIFY(!ctx->e9s_b(s[7], s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[8]));
        QCOMPARE(ctx->compare_note,
                 QStringLiteral("\"8\" not in('1','2','3','4','5','6','7','9')"));
        QVERIFY(ctx->e5s_b(QString(), s[0], s[1], s[2], QString()));
        QVERIFY(ctx->e3i_b(3, 1, 3));
        QVERIFY(!ctx->e3i_b(2, 1, 3));
    }

    void substrings_and_search() {
        const QString abc = QStringLiteral("abc");
        QCOMPARE(ctx->substring3_s(abc, 2, 10), QStringLiteral("c"));
        QCOMPARE(ctx->substring3_s(abc, 5, 1), QString());
        QCOMPARE(ctx->substring3_s(abc, -3, 2), QStringLiteral("ab"));
        QCOMPARE(ctx->substring3_s(abc, 1, -1), QString());
        QCOMPARE(ctx->substring2_s(abc, -1), abc);
        QCOMPARE(ctx->substring2_s(abc, 3), QString());
        QCOMPARE(ctx->at_s_c(abc, 3), QChar());
        QCOMPARE(ctx->at_s_c(abc, -1), QChar());

        const QString s = QStringLiteral("abcabc");
        QCOMPARE(ctx->index3s_i(s, QStringLiteral("bc"), 2), 4);
        QCOMPARE(ctx->index3s_i(s, QStringLiteral("bc"), 99), -1);
        QCOMPARE(ctx->index3c_i(s, QLatin1Char('a'), -5), 0);
        QCOMPARE(ctx->last_index2c_i(s, QLatin1Char('a')), 3);
        QCOMPARE(ctx->length(u("a😀")), 3); // code units
    }

    void trim_pad_replace() {
        // trim_s takes every kind of blank; the one-sided trims only the ASCII space.
        QCOMPARE(ctx->trim_s(u("\u3000\t a b \r\n\u3000")), QStringLiteral("a b"));
        QCOMPARE(ctx->trim_start_s(u("  \ta ")), QStringLiteral("\ta "));
        QCOMPARE(ctx->trim_start_s(u("\u3000a")), u("\u3000a"));
        QCOMPARE(ctx->trim_end_s(u(" a\u3000  ")), u(" a\u3000"));
        QCOMPARE(ctx->trim_end_s(u("a\t ")), u("a\t"));
        QCOMPARE(ctx->trim_end_s(QStringLiteral("   ")), QString());

        const QChar zero(u'0');
        QCOMPARE(ctx->pad_start_s(QStringLiteral("12"), 5, zero), QStringLiteral("00012"));
        QCOMPARE(ctx->pad_start_s(QStringLiteral("123456"), 5, zero), QStringLiteral("123456"));
        QCOMPARE(ctx->pad_start_s(QStringLiteral("ab"), 4), QStringLiteral("  ab"));
        QCOMPARE(ctx->pad_end_s(QStringLiteral("ab"), 4), QStringLiteral("ab  "));
        QCOMPARE(ctx->pad_end_s(QStringLiteral("ab"), -1), QStringLiteral("ab"));
        // Code units, not columns: a wide character counts one, a surrogate pair two.
        QCOMPARE(ctx->pad_start_s(u("漢"), 3), u("  漢"));
        QCOMPARE(ctx->pad_start_s(u("😀"), 3), u(" 😀"));

        QCOMPARE(ctx->replace_s_s(QStringLiteral("aaa"), QStringLiteral("aa"), QStringLiteral("b")),
                 QStringLiteral("ba"));
        QCOMPARE(ctx->replace_s_s(QStringLiteral("abc"), QString(), QStringLiteral("x")),
                 QStringLiteral("abc"));
    }

    void split_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("pieces");
        QTest::newRow("empty pieces kept") << "a,,b," << QStringList{"a", "", "b", ""};
        QTest::newRow("empty string is one piece") << "" << QStringList{""};
        QTest::newRow("separator alone") << "," << QStringList{"", ""};
        QTest::newRow("blanks stay") << " a , b " << QStringList{" a ", " b "};
    }
    void split() {
        QFETCH(QString, text);
        QFETCH(QStringList, pieces);
        const s_l got = ctx->split_sx(text, QLatin1Char(','));
        QCOMPARE(got, pieces);
        QCOMPARE(ctx->count_sx_i(got), int(pieces.size()));
    }

    void lists_out_of_range() {
        s_l strings = {QStringLiteral("a"), QStringLiteral("b")};
        QCOMPARE(ctx->at_s(&strings, 2), QString());
        QCOMPARE(ctx->at_s(&strings, -1), QString());
        i_l ints = {5};
        QCOMPARE(ctx->at_i(&ints, 1), 0);
        f_l floats = {1.5f};
        QCOMPARE(ctx->at_f(&floats, 1), 0.0f);
        qx_print_l item;
        p_l items = {&item};
        QCOMPARE(ctx->at_p(&items, 0), &item);
        QCOMPARE(ctx->at_p(&items, 1), nullptr);

        s_l names = {QStringLiteral("x"), QStringLiteral("y"), QStringLiteral("x")};
        QCOMPARE(ctx->index3as_i(&names, QStringLiteral("x"), 1), 2);
        QCOMPARE(ctx->index3as_i(&names, QStringLiteral("x"), 3), -1);
        QCOMPARE(ctx->index2as_i(&names, QStringLiteral("z")), -1);
    }

    void date_time_styles() {
        const QDateTime t(QDate(2024, 3, 5), QTime(7, 8, 9, 45));
        QCOMPARE(ctx->date_time_s(t, 0), QStringLiteral("20240305070809045"));
        QCOMPARE(ctx->date_time_s(t, 1), QStringLiteral("2024-03-05 07:08:09.045"));
        QCOMPARE(ctx->date_time_s(t, 7), QStringLiteral("2024-03-05 07:08:09.045"));
    }

    // ------------------------------------------------------------ paths

    void tmp_path() {
        QCOMPARE(ctx->get_tmp_path_s(QStringLiteral("/")), QStringLiteral("/home/Q/TMP/"));
        QCOMPARE(ctx->get_tmp_path_s(QStringLiteral("OTHER"), QStringLiteral("x")),
                 QStringLiteral("/home/Q/TMPx"));
    }

    // ------------------------------------------------------------ character widths

    void kind_code_data() {
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("width");
        QTest::newRow("ASCII letter") << 0x41 << 1 << 1;
        QTest::newRow("tilde") << 0x7E << 1 << 1;
        QTest::newRow("latin e acute is wide") << 0xE9 << 2 << 2;
        QTest::newRow("hiragana") << 0x3042 << 2 << 2;
        QTest::newRow("ideographic space") << 0x3000 << 2 << 2;
        QTest::newRow("half-width middle dot, below FF66") << 0xFF65 << 2 << 2;
        QTest::newRow("first half-width katakana") << 0xFF66 << 3 << 1;
        QTest::newRow("last half-width mark") << 0xFF9F << 3 << 1;
        QTest::newRow("half-width hangul filler") << 0xFFA0 << 2 << 2;
        QTest::newRow("high surrogate") << 0xD83D << 4 << 2;
        QTest::newRow("low surrogate") << 0xDE00 << 5 << 0;
        QTest::newRow("zero width space") << 0x200B << 0 << 0;
        QTest::newRow("zero width joiner") << 0x200D << 0 << 0;
        QTest::newRow("combining acute") << 0x301 << 0 << 0;
    }
    void kind_code() {
        QFETCH(int, code);
        QFETCH(int, kind);
        QFETCH(int, width);
        const QChar c(char16_t(code & 0xFFFF));
        QCOMPARE(ctx->kind_code(c), kind);
        QCOMPARE(ctx->kind_code(c), kind); // the second answer comes from the cache
        QCOMPARE(ctx->form_length(c), width);
    }

    void form_length_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("n");
        QTest::addColumn<int>("width");
        QTest::newRow("ASCII") << "ABC" << 3 << 3;
        QTest::newRow("kanji") << u("漢字列") << 3 << 6;
        QTest::newRow("half-width katakana") << u("ｱｲｳ") << 3 << 3;
        QTest::newRow("pair counts two") << u("A😀B") << 4 << 4;
        QTest::newRow("high surrogate counts the pair") << u("😀") << 1 << 2;
        QTest::newRow("past the pair") << u("😀B") << 3 << 3;
        QTest::newRow("first units only") << u("ｱ漢") << 1 << 1;
        QTest::newRow("zero") << u("漢") << 0 << 0;
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

    void form_length_counter() {
        qx_zz_l counter;
        counter.num2 = 10;
        QCOMPARE(ctx->form_length(&counter, QChar(0xD83D)), 2);
        QCOMPARE(counter.num2, qint64(11));
        QCOMPARE(ctx->form_length(&counter, QLatin1Char('A')), 1);
        QCOMPARE(counter.num2, qint64(11));
    }

    // ------------------------------------------------------------ text files

    void read_lines_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("last line without line feed")
            << QByteArray("a\nb") << "" << QStringList{"a", "b"};
        QTest::newRow("CR LF") << QByteArray("a\r\nb\r\n") << "sjis" << QStringList{"a", "b"};
        QTest::newRow("empty lines") << QByteArray("a\r\n\r\n\n") << "" << QStringList{"a", "", ""};
        QTest::newRow("lone CR stays") << QByteArray("a\rb\n") << "" << QStringList{"a\rb"};
        QTest::newRow("empty file") << QByteArray() << "" << QStringList{};
        QTest::newRow("UTF-8") << QByteArray("\xE6\xBC\xA2\t\n") << "utf-8"
                               << QStringList{u("漢\t")};
        QTest::newRow("Shift-JIS, Windows extensions")
            << QByteArray("\x87\x40\x87\x8A\x81\x60\x8A\xBF\r\n\xB1\xB2\n") << "SJIS"
            << QStringList{u("①㈱～漢"), u("ｱｲ")};
        QTest::newRow("EUC-JP") << QByteArray("\xA4\xA2\xB4\xC1\n") << "EUC-JP"
                                << QStringList{u("あ漢")};
        QTest::newRow("UTF-8 mark beats Shift-JIS")
            << QByteArray("\xEF\xBB\xBF\xE3\x81\x82\nb") << "sjis" << QStringList{u("あ"), "b"};
        QTest::newRow("mark only at the start")
            << QByteArray("a\n\xEF\xBB\xBF") << "" << QStringList{"a", u("\uFEFF")};
        // 上 is U+4E0A: its low byte is a line feed that must not end the line.
        const QByteArray utf16le("\xFF\xFE"
                                 "a\0\r\0\n\0\x0A\x4E\x42\x30\n\0b\0",
                                 16);
        QTest::newRow("UTF-16 LE") << utf16le << u("sjis") << QStringList{"a", u("上あ"), "b"};
        QTest::newRow("UTF-16 BE")
            << QByteArray("\xFE\xFF\x4E\x0A\0\n\0\r\0\n", 10) << "" << QStringList{u("上"), ""};
    }
    void read_lines() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, encoding);
        QFETCH(QStringList, lines);
        const QString file = path(QStringLiteral("lines.txt"));
        write_bytes(file, bytes);
        QCOMPARE(read_lines(file, encoding), lines);
    }

    void read_does_not_leak_cut_characters() {
        // A line that ends inside a character must not spoil the next one.
        const QString file = path(QStringLiteral("cut.txt"));
        write_bytes(file, QByteArray("\xE3\x81\nB\n\x82\nC\n"));
        for (const char* encoding : {"UTF-8", "sjis", "EUC-JP"}) {
            const QStringList lines = read_lines(file, QLatin1String(encoding));
            QCOMPARE(lines.size(), qsizetype(4));
            QCOMPARE(lines.at(1), QStringLiteral("B"));
            QCOMPARE(lines.at(3), QStringLiteral("C"));
        }
    }

    void read_raw_is_ascii_compatible() {
        // Page skipping counts TAB bytes; in a UTF-16 file they must still be single
        // bytes. U+0109 has 0x09 as its low byte and is no TAB.
        const QString file = path(QStringLiteral("raw16.txt"));
        write_bytes(file, QByteArray("\xFF\xFE"
                                     "a\0\t\0\x09\x01\t\0\n\0",
                                     12));
        qx_read_l reader(ctx.get());
        QVERIFY(reader.open_b(file, QString()));
        QCOMPARE(reader.encoding(), QStringLiteral("UTF-16LE"));
        QCOMPARE(reader.read_raw(), 0);
        QCOMPARE(reader.raw_line.count('\t'), qsizetype(2));
        QCOMPARE(QString::fromUtf8(reader.raw_line), u("a\t\u0109\t"));
        QCOMPARE(reader.read_raw(), 1);
    }

    void reader_misuse() {
        qx_read_l reader(ctx.get());
        QCOMPARE(reader.read(), 5);
        QCOMPARE(ctx->message, QStringLiteral("not open read"));
        reader.read_close_v(); // harmless when closed

        const QString missing = path(QStringLiteral("no-such-file.txt"));
        QVERIFY(!reader.open_b(missing, QString()));
        QCOMPARE(ctx->message, QStringLiteral("open read error(") + missing + QLatin1Char(')'));
        QVERIFY(!reader.is_open());
        QVERIFY(!reader.open_b(tmp.path(), QString())); // a directory
        QVERIFY(!reader.is_open());

        const QString one = path(QStringLiteral("one.txt"));
        const QString two = path(QStringLiteral("two.txt"));
        write_bytes(one, "1a\n1b\n");
        write_bytes(two, "2a\n");
        QVERIFY(reader.open_b(one, QString()));
        QCOMPARE(reader.read(), 0);
        QVERIFY(!reader.open_b(two, QString()));
        QCOMPARE(ctx->message, QStringLiteral("already open read"));
        QCOMPARE(reader.read(), 0); // the first file is still being read
        QCOMPARE(reader.line, QStringLiteral("1b"));
        reader.read_close_v();
        reader.read_close_v();
        QCOMPARE(reader.read(), 5);
        QVERIFY(reader.open_b(two, QString())); // reusable after closing
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.line, QStringLiteral("2a"));
    }

    void overlong_lines_data() {
        QTest::addColumn<qsizetype>("length");
        QTest::addColumn<QByteArray>("line_end");
        QTest::addColumn<bool>("delivered");
        const qsizetype max = qx_line_buffer_l::max_line;
        QTest::newRow("longest") << max << QByteArray("\n") << true;
        QTest::newRow("longest with CR") << max << QByteArray("\r\n") << true;
        QTest::newRow("one too long") << max + 1 << QByteArray("\n") << false;
        QTest::newRow("far too long") << 3 * max << QByteArray("\n") << false;
        QTest::newRow("too long at the end") << max + 1 << QByteArray() << false;
    }
    void overlong_lines() {
        QFETCH(qsizetype, length);
        QFETCH(QByteArray, line_end);
        QFETCH(bool, delivered);
        const QString file = path(QStringLiteral("long.txt"));
        {
            QFile f(file);
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
            f.write("first\n");
            f.write(QByteArray(length, 'x'));
            f.write(line_end);
            if (!line_end.isEmpty()) f.write("last\n");
        }
        qx_read_l reader(ctx.get());
        QVERIFY(reader.open_b(file, QString()));
        QCOMPARE(reader.read(), 0);
        QCOMPARE(reader.line, QStringLiteral("first"));
        if (delivered) {
            QCOMPARE(reader.read(), 0);
            QCOMPARE(reader.line.size(), length);
        } else {
            QCOMPARE(reader.read(), 2);
            QCOMPARE(ctx->message, QStringLiteral("line too long(") + file + QLatin1Char(')'));
            QVERIFY(reader.line.isEmpty());
        }
        if (!line_end.isEmpty()) {
            QCOMPARE(reader.read(), 0);
            QCOMPARE(reader.line, QStringLiteral("last"));
        }
        QCOMPARE(reader.read(), 1);
        reader.read_close_v();
        QFile::remove(file);
    }

    void file_encoding_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");
        const QByteArray sjis("\x8A\xBF\x8E\x9A\n"); // 漢字
        const QByteArray utf8("\xE6\xBC\xA2\xE5\xAD\x97\n");
        const QByteArray ascii_2mb(2 << 20, 'a');
        const qsizetype window = 1 << 18;
        QTest::newRow("empty") << QByteArray() << "UTF-8";
        QTest::newRow("ASCII") << QByteArray("a\tb\n") << "UTF-8";
        QTest::newRow("UTF-8") << utf8 << "UTF-8";
        QTest::newRow("Shift-JIS") << sjis << "Shift-JIS";
        QTest::newRow("half-width katakana alone") << QByteArray("\xB1\n") << "Shift-JIS";
        QTest::newRow("Shift-JIS after 2 MB of ASCII") << ascii_2mb + sjis << "Shift-JIS";
        QTest::newRow("UTF-8 after 2 MB of ASCII") << ascii_2mb + utf8 << "UTF-8";
        QTest::newRow("Shift-JIS after some UTF-8") << utf8 + sjis << "Shift-JIS";
        QTest::newRow("mark beats Shift-JIS bytes") << QByteArray("\xEF\xBB\xBF") + sjis << "UTF-8";
        QTest::newRow("UTF-8 character across a block end")
            << QByteArray(window - 1, 'a') + utf8 << "UTF-8";
        QTest::newRow("UTF-8 cut by the end of the judging window")
            << utf8.left(3).repeated(100000) << "UTF-8";
    }
    void file_encoding() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, encoding);
        const QString file = path(QStringLiteral("judge.txt"));
        write_bytes(file, bytes);
        QCOMPARE(ctx->file_encoding_s(file), encoding);
        ctx->forced_encoding = QStringLiteral("euc_jp");
        QCOMPARE(ctx->file_encoding_s(file), QStringLiteral("EUC-JP"));
        ctx->forced_encoding.clear();
        QCOMPARE(ctx->file_encoding_s(path(QStringLiteral("missing.txt"))),
                 QStringLiteral("UTF-8"));
    }

    void writer_line_ends_data() {
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes");
        const QString a = QStringLiteral("a");
        QTest::newRow("UTF-8, no mark") << u("UTF-8") << u("あ") << QByteArray("\xE3\x81\x82\n");
        QTest::newRow("slash") << u("/") << a << QByteArray("a\n");
        QTest::newRow("windows ends") << u("UTF-8,W") << a << QByteArray("a\r\n");
        QTest::newRow("unix ends, lower case") << u("UTF-8,u") << a << QByteArray("a\n");
        QTest::newRow("any other style is windows") << u("UTF-8,X") << a << QByteArray("a\r\n");
        QTest::newRow("blanks around the pieces")
            << u(" sjis , w ,x") << u("①～") << QByteArray("\x87\x40\x81\x60\r\n");
        QTest::newRow("EUC-JP") << u("euc-jp,U") << u("漢") << QByteArray("\xB4\xC1\n");
    }
    void writer_line_ends() {
        QFETCH(QString, encoding);
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        const QString file = path(QStringLiteral("out.txt"));
        qx_write_l writer(ctx.get());
        QVERIFY(writer.open_b(file, QStringLiteral("OT"), encoding));
        QVERIFY(writer.write_b(text));
        QVERIFY(writer.write_b(text));
        writer.write_close_v();
        QCOMPARE(file_bytes(file), bytes + bytes);
    }

    void writer_windows_platform() {
        const QString file = path(QStringLiteral("win.txt"));
        ctx->platform_code = QLatin1Char('W');
        qx_write_l writer(ctx.get());
        const bool crlf = writer.open_b(file, QStringLiteral("OT"), QStringLiteral("UTF-8")) &&
                          writer.write_b(QStringLiteral("a"));
        writer.write_close_v();
        const bool lf = writer.open_b(file, QStringLiteral("ADD"), QStringLiteral("UTF-8,U")) &&
                        writer.write_b(QStringLiteral("b"));
        writer.write_close_v();
        ctx->platform_code = QLatin1Char('U');
        QVERIFY(crlf && lf);
        QCOMPARE(file_bytes(file), QByteArray("a\r\nb\n"));
    }

    void writer_modes_data() {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("ADD appends") << "ADD" << QByteArray("old line\nnew\n");
        QTest::newRow("OT replaces") << "OT" << QByteArray("new\n");
        QTest::newRow("other modes replace") << "add" << QByteArray("new\n");
    }
    void writer_modes() {
        QFETCH(QString, mode);
        QFETCH(QByteArray, bytes);
        const QString file = path(QStringLiteral("mode.txt"));
        write_bytes(file, "old line\n");
        qx_write_l writer(ctx.get());
        QVERIFY(writer.open_b(file, mode, QStringLiteral("UTF-8")));
        QVERIFY(writer.write_b(QStringLiteral("new")));
        writer.write_close_v();
        QCOMPARE(file_bytes(file), bytes);
    }

    void writer_misuse() {
        qx_write_l writer(ctx.get());
        QVERIFY(!writer.write_b(QStringLiteral("x")));
        QCOMPARE(ctx->message, QStringLiteral("not open write"));
        writer.write_close_v(); // harmless when closed

        QVERIFY(!writer.open_b(path(QStringLiteral("no/such/dir.txt")), QStringLiteral("OT"),
                               QStringLiteral("/")));
        QCOMPARE(ctx->message, QStringLiteral("Open Write error"));
        QVERIFY(!writer.file);
        QVERIFY(!writer.write_b(QStringLiteral("x")));

        const QString first = path(QStringLiteral("first.txt"));
        const QString second = path(QStringLiteral("second.txt"));
        QVERIFY(writer.open_b(first, QStringLiteral("OT"), QStringLiteral("/")));
        QVERIFY(!writer.open_b(second, QStringLiteral("OT"), QStringLiteral("/")));
        QCOMPARE(ctx->message, QStringLiteral("already open write"));
        QVERIFY(writer.write_b(QStringLiteral("still first")));
        writer.write_close_v();
        writer.write_close_v();
        QCOMPARE(file_bytes(first), QByteArray("still first\n"));
        QVERIFY(!QFile::exists(second));
    }

    // ------------------------------------------------------------ VERSION report

    void version_request_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("handled");
        QTest::newRow("VERSION VERSION") << QStringList{"VERSION", "VERSION"} << true;
        QTest::newRow("any case") << QStringList{"version", "Version"} << true;
        QTest::newRow("one word is not enough") << QStringList{"VERSION"} << false;
        QTest::newRow("three words") << QStringList{"VERSION", "VERSION", "X"} << false;
        QTest::newRow("second word differs") << QStringList{"VERSION", "DISPLAY"} << false;
        QTest::newRow("first word differs") << QStringList{"DISPLAY", "VERSION"} << false;
        QTest::newRow("blank after") << QStringList{"VERSION ", "VERSION"} << false;
        QTest::newRow("nothing") << QStringList{} << false;
    }
    void version_request() {
        QFETCH(QStringList, arguments);
        QFETCH(bool, handled);
        const QString report = path(QStringLiteral("root/Q/TMP/VERSION_KORVAN.TXT"));
        QFile::remove(report);
        QCOMPARE(version_request_in(ctx.get(), path(QStringLiteral("root")), arguments), handled);
        QCOMPARE(file_bytes(report), handled ? QByteArray("14\n") : QByteArray("<missing>"));
    }

    void version_report_by_program_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("KORVAN") << "KORVAN" << QByteArray("14\n");
        QTest::newRow("BELDOM") << "BELDOM" << QByteArray("2\n");
        QTest::newRow("any other") << "OTHER" << QByteArray("37\t000800017\n");
        QTest::newRow("names are exact") << "korvan" << QByteArray("37\t000800017\n");
    }
    void version_report_by_program() {
        QFETCH(QString, program);
        QFETCH(QByteArray, bytes);
        qx_z_l other(program, 1, argv_run);
        const s_l request = {QStringLiteral("VERSION"), QStringLiteral("VERSION")};
        QVERIFY(version_request_in(&other, path(QStringLiteral("root")), request));
        QCOMPARE(file_bytes(path(QStringLiteral("root/Q/TMP/VERSION_%1.TXT").arg(program))), bytes);
    }

    void version_report_replaces_and_survives_missing_dir() {
        const QString report = path(QStringLiteral("root/Q/TMP/VERSION_KORVAN.TXT"));
        write_bytes(report, "an old and longer report\n");
        const s_l request = {QStringLiteral("VERSION"), QStringLiteral("VERSION")};
        QVERIFY(version_request_in(ctx.get(), path(QStringLiteral("root")), request));
        QCOMPARE(file_bytes(report), QByteArray("14\n"));
        // Handled even though nothing can be written.
        QVERIFY(version_request_in(ctx.get(), path(QStringLiteral("nowhere")), request));
        QCOMPARE(ctx->message, QStringLiteral("Open Write error"));
        QVERIFY(!QDir(path(QStringLiteral("nowhere"))).exists());
    }
};

QTEST_MAIN(test_core)
#include "test_core.moc"
