// The program context: number parsing, string helpers, paths, character widths, text
// files and their encodings, start-up fields and the VERSION report. Expected values
// are worked out from the program's rules, not taken from its output.
#include "core/qx_z.h"
#include "core/textfile.h"
#include "core/version.h"

#include <QFontInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <array>
#include <limits>

namespace {

const QString before = QStringLiteral("<before>"); // message left by an earlier call
const QString fffd(QChar::ReplacementCharacter);

QString u(const char* s) {
    return QString::fromUtf8(s);
}
QString q(const QString& s) {
    return QLatin1Char('"') + s + QLatin1Char('"');
}

QByteArray slurp(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

void spit(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

// The text in a legacy encoding, as the system's iconv writes it.
QByteArray iconv_to(const QString& text, const char* charset) {
    QProcess p;
    p.start(u("iconv"), {u("-f"), u("UTF-8"), u("-t"), u(charset)});
    if (!p.waitForStarted()) return QByteArray();
    p.write(text.toUtf8());
    p.closeWriteChannel();
    p.waitForFinished();
    return p.exitCode() == 0 ? p.readAllStandardOutput() : QByteArray();
}

// Every line a reader gives until the end; the final status goes to *status.
QStringList read_all(qx_read_l* r, int* status) {
    QStringList lines;
    while ((*status = r->read()) == 0)
        lines << r->line;
    return lines;
}

// Rows of a table of texts: one column per entry, the row named after the first.
template <size_t N> void text_rows(std::initializer_list<std::array<const char*, N>> table) {
    for (const auto& row : table) {
        QByteArray tag = QByteArray(row[0]).replace("\n", "\\n").replace("\t", "\\t");
        QTestData& data = QTest::newRow(tag.isEmpty() ? "(empty)" : tag.constData());
        for (const char* cell : row)
            data << u(cell);
    }
}

} // namespace

class test_core : public QObject {
    Q_OBJECT
    qx_z_l* z = nullptr;
    QTemporaryDir tmp;
    QString path(const char* name) const { return tmp.filePath(u(name)); }

private slots:
    void initTestCase() {
        static char arg0[] = "/usr/bin/KORVAN";
        char* argv[] = {arg0, nullptr};
        z = new qx_z_l(u("KORVAN"), 1, argv);
        QVERIFY(tmp.isValid());
    }
    void cleanupTestCase() { delete z; }

    void to_int_check_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QChar>("sign");
        QTest::addColumn<int>("report");
        QTest::addColumn<int>("value"); // the default is always 4
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("msg");
        const QChar p('+'), m('-'), z0('0');
        QTest::newRow("empty +") << "" << p << 1 << 0 << true << before;
        QTest::newRow("empty 0") << "" << z0 << 1 << 0 << false << u("bad zero \"\"");
        QTest::newRow("empty 0 quiet") << "" << z0 << 0 << 0 << false << before;
        QTest::newRow("neg +") << "-5" << p << 1 << -5 << false << u("not plus \"-5\"");
        QTest::newRow("neg other")
            << "-5" << QChar('x') << 1 << -5 << false << u("not plus \"-5\"");
        QTest::newRow("neg quiet") << "-5" << p << 0 << -5 << false << before;
        QTest::newRow("neg -") << "-5" << m << 1 << -5 << true << before;
        QTest::newRow("zero 0") << "0" << z0 << 1 << 0 << false << u("bad zero \"0\"");
        QTest::newRow("minus zero 0") << "-0" << z0 << 1 << 0 << false << u("bad zero \"-0\"");
        QTest::newRow("one 0") << "1" << z0 << 1 << 1 << true << before;
        QTest::newRow("plus sign") << "+5" << p << 1 << 5 << true << before;
        QTest::newRow("int max") << "2147483647" << p << 1 << 2147483647 << true << before;
        QTest::newRow("int min") << "-2147483648" << m << 1 << std::numeric_limits<int>::min()
                                 << true << before;
        QTest::newRow("leading zeros") << "00000000000000000042" << p << 1 << 42 << true << before;
        QTest::newRow("blanks") << " 42 " << p << 1 << 42 << true << before;
        QTest::newRow("junk quiet") << "12a" << p << 0 << 4 << false << before;
        for (const char* t : {"2147483648", "-2147483649", "9999999999", "  ", "\u300042", "１２",
                              "0x10", "1.0", "-", "+-1", "1 2"})
            QTest::newRow(t) << u(t) << z0 << 1 << 4 << false << u("not numeric ") + q(u(t));
    }
    void to_int_check() {
        QFETCH(QString, text);
        QFETCH(QChar, sign);
        QFETCH(int, report);
        QFETCH(bool, ok);
        z->message = before;
        z->numeric_ok = !ok; // every call sets it
        QTEST(z->to_int_check(text, sign, 4, report), "value");
        QCOMPARE(z->numeric_ok, ok);
        QTEST(z->message, "msg");
    }

    void to_double_o_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QChar>("sign");
        QTest::addColumn<double>("value"); // the default is always 7
        QTest::addColumn<QString>("msg");  // empty: accepted
        const QChar p('+'), m('-');
        QTest::newRow("empty") << "" << p << 0.0 << QString();
        QTest::newRow("neg +") << "-5" << p << 7.0 << u("not plus \"-5\"");
        QTest::newRow("neg -") << "-5" << m << -5.0 << QString();
        QTest::newRow("minus zero +") << "-0" << p << 0.0 << QString();
        QTest::newRow("blanks") << " \t2.25\r\n" << p << 2.25 << QString();
        QTest::newRow("point first") << "+.5" << p << 0.5 << QString();
        QTest::newRow("exponent") << "-1.5e2" << m << -150.0 << QString();
        QTest::newRow("1e308") << "1e308" << p << 1e308 << QString();
        QTest::newRow("underflow") << "1e-400" << p << 0.0 << QString();
        QTest::newRow("neg underflow +") << "-1e-400" << p << 0.0 << QString();
        QTest::newRow("zero, big exponent") << "0e999999" << p << 0.0 << QString();
        for (const char* t : {"1e309", "-1e309",   "1e99999999999999999999",
                              "NaN",   "nan",      "inf",
                              "-inf",  "Infinity", "0x10",
                              "1,5",   "1.2.3",    "e5",
                              "1e",    "1e+",      ".",
                              "-",     "--1",      "1 2",
                              "5-",    "１",       "1\u3000"})
            QTest::newRow(t) << u(t) << m << 7.0 << u("not numeric ") + q(u(t));
    }
    void to_double_o() {
        QFETCH(QString, text);
        QFETCH(QChar, sign);
        QFETCH(double, value);
        QFETCH(QString, msg);
        z->message = before;
        const double v = z->to_double_o(text, sign, 7.0, 1);
        QCOMPARE(v, value);
        QVERIFY(!std::signbit(v) || value < 0); // no "-0" to print
        QCOMPARE(z->numeric_ok, msg.isEmpty());
        QCOMPARE(z->message, msg.isEmpty() ? before : msg);
        z->message = before;
        z->to_double_o(text, sign, 7.0, 0);
        QCOMPARE(z->message, before);
    }

    // Number texts of any length are judged by the rules, quickly and without failing.
    void numbers_of_any_length() {
        const QString nines(10 * 1024 * 1024, QLatin1Char('9'));
        const QString zeros(10 * 1024 * 1024, QLatin1Char('0'));
        QCOMPARE(z->to_int_check(nines, '+', 4, 1), 4);
        QVERIFY(!z->numeric_ok);
        QCOMPARE(z->message, u("not numeric ") + q(nines));
        QCOMPARE(z->to_double_o(nines, '+', 4, 1), 4.0); // about 1e10485760
        QVERIFY(!z->numeric_ok);
        QCOMPARE(z->to_int_check(zeros + u("7"), '+', 4, 1), 7);
        QVERIFY(z->numeric_ok);
        QCOMPARE(z->to_double_o(u("0.") + zeros + u("1"), '+', 4, 1), 0.0);
        QVERIFY(z->numeric_ok);
        QCOMPARE(z->to_double_o(u("0.25") + zeros, '+', 4, 1), 0.25);
        QCOMPARE(z->to_double_o(zeros + u("x"), '+', 4, 1), 4.0);
        QCOMPARE(z->to_int1s_i(u("-7")), -7);
        QCOMPARE(z->to_int1s_i(u("2147483648")), 0);
        QCOMPARE(z->to_int1s_i(u("7x")), 0);
    }

    void comparisons() {
        z->compare_note = before;
        QVERIFY(!z->e2s_b(u("ABC"), u("XYZ")));
        QCOMPARE(z->compare_note, u("\"ABC\" not in('XYZ')"));
        QVERIFY(!z->e2s_b(u("abc"), u("ABC"))); // case counts
        QVERIFY(!z->e4s_b(u("A"), u("B"), u("C"), u("D")));
        QCOMPARE(z->compare_note, u("\"A\" not in('B','C','D')"));
        z->compare_note = before;
        QVERIFY(z->e9s_b(u("I"), u("A"), u("B"), u("C"), u("D"), u("E"), u("F"), u("G"), u("I")));
        QVERIFY(z->e3s_b(QString(), u("x"), QString()));
        QCOMPARE(z->compare_note, before); // a match leaves no note

        const s_l l{u("x"), u("y")};
        QCOMPARE(z->at_s(&l, 2), QString());
        QCOMPARE(z->at_s(&l, -1), QString());
    }

    void string_helpers() {
        // Substrings clamp instead of failing; positions count code units.
        QCOMPARE(z->substring3_s(u("abc"), 2, 10), u("c"));
        QCOMPARE(z->substring3_s(u("abc"), 5, 1), QString());
        QCOMPARE(z->substring3_s(u("abc"), -3, 2), u("ab"));
        QCOMPARE(z->substring3_s(u("a\U00020B9F"), 1, 1), QString(QChar(0xD842)));
        QCOMPARE(z->substring2_s(u("abc"), -1), u("abc"));
        QCOMPARE(z->substring2_s(u("abc"), 4), QString());
        // Padding counts code units and never cuts.
        QCOMPARE(z->pad_start_s(u("12"), 5, '0'), u("00012"));
        QCOMPARE(z->pad_start_s(u("123456"), 5, '0'), u("123456"));
        QCOMPARE(z->pad_start_s(u("漢"), 3), u("  漢"));
        QCOMPARE(z->pad_end_s(u("ab"), 4), u("ab  "));
        // n separators, n + 1 pieces.
        QCOMPARE(z->split_sx(u("a,,b,"), ','), (s_l{u("a"), QString(), u("b"), QString()}));
        QCOMPARE(z->split_sx(QString(), ','), s_l{QString()});
        QCOMPARE(z->encode_s(u("Shift_jis")), u("Shift-JIS"));
        QCOMPARE(z->encode_s(QString()), u("UTF-8"));
        QCOMPARE(z->encode_s(u("/")), u("UTF-8"));
        QCOMPARE(z->encode_s(u("euc_jp")), u("EUC-JP"));
        QCOMPARE(z->encode_s(u("cp932")), u("CP932"));
    }

    void trimming_data() {
        QTest::addColumn<QString>("s");
        QTest::addColumn<QString>("trim");
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        text_rows<4>({{"  a b  ", "a b", "a b  ", "  a b"},
                      {"\ta\t", "a", "\ta\t", "\ta\t"},
                      {"\u3000a\u3000", "a", "\u3000a\u3000", "\u3000a\u3000"},
                      {" \n ", "", "\n ", " \n"}});
    }
    void trimming() {
        QFETCH(QString, s);
        QTEST(z->trim_s(s), "trim");
        QTEST(z->trim_start_s(s), "start");
        QTEST(z->trim_end_s(s), "end");
    }

    void paths_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("opened");
        text_rows<2>({{"KORVAN.CSV", "/home/Q/TMP/KORVAN.CSV"},
                      {"./KORVAN.CSV", "./KORVAN.CSV"},
                      {"../data/KORVAN.TXT", "../data/KORVAN.TXT"},
                      {"C:\\forms\\a.csv", "C:\\forms\\a.csv"},
                      {"a", "/home/Q/TMP/a"},
                      {"/", "/"},
                      {".", "/home/Q/TMP/."},
                      {"..x", "/home/Q/TMP/..x"},
                      {"", "/home/Q/TMP/"}});
    }
    void paths() {
        QFETCH(QString, name);
        QFETCH(QString, opened);
        QCOMPARE(z->check_path_b(name), name == opened);
        QCOMPARE(z->get_tmp_file_s(name), opened);
        QCOMPARE(z->get_tmp_path_s(u("OTHER"), QString()), u("/home/Q/TMP"));
    }

    void widths_data() {
        QTest::addColumn<QString>("s");
        QTest::addColumn<int>("n"); // -1: the whole string
        QTest::addColumn<int>("width");
        const QString pair = u("\U00020B9F"); // beyond the Basic Multilingual Plane
        QTest::newRow("ascii") << u("ABC") << -1 << 3;
        QTest::newRow("kanji") << u("漢字語") << -1 << 6;
        QTest::newRow("half-width kana") << u("ｱｲｳ") << -1 << 3;
        QTest::newRow("U+FF65 below kana") << u("\uFF65") << -1 << 2;
        QTest::newRow("U+FF9F last kana") << u("\uFF9F") << -1 << 1;
        QTest::newRow("U+FFA0 half hangul") << u("\uFFA0") << -1 << 2;
        QTest::newRow("pair") << pair << -1 << 2;
        QTest::newRow("pair, first unit") << pair << 1 << 2;
        QTest::newRow("pair inside") << u("a") + pair + u("b") << 2 << 3;
        QTest::newRow("lone high") << QString(QChar(0xD800)) << -1 << 2;
        QTest::newRow("lone low") << QString(QChar(0xDC00)) << -1 << 0;
        QTest::newRow("combining acute") << u("e\u0301") << -1 << 1;
        QTest::newRow("zero-width joiner") << u("\u200D") << -1 << 0;
        QTest::newRow("n past end") << u("漢A") << 10 << 3;
    }
    void widths() {
        QFETCH(QString, s);
        QFETCH(int, n);
        QTEST(n == -1 ? z->form_length(s) : z->form_length(s, n), "width");
        if (s.size() == 1) QTEST(z->form_length(s.at(0)), "width");
    }

    void program_directory_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("dir");
        text_rows<2>({{"KORVAN", "K"},
                      {"/usr/bin/KORVAN", "/usr/bin/"},
                      {"./korvan", "./"},
                      {"/KORVAN", "/"}, // position 0 is not looked at
                      {"K", "K"},
                      {"", ""}});
    }
    void program_directory() {
        QFETCH(QString, path);
        QTEST(qx_z_l::program_directory_s(path, u("/")), "dir");
    }

    void machine_name_data() {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        text_rows<3>({{"ws-07.lab\n", "ws-07", "WS_07"},
                      {"ws-07\n", "ws-07\n", "WS_07\n"},
                      {"pc1  \n", "pc1  \n", "PC1  \n"},
                      {"pc-1  ", "pc-1", "PC_1"},
                      {"a.b.c\n", "a", "A"}});
    }
    void machine_name() {
        QFETCH(QString, line);
        QFETCH(QString, name);
        QCOMPARE(z->machine_name_from_s(line), name);
        QTEST(qx_z_l::machine_key_s(name), "key");
    }

    void context_fields() {
        QCOMPARE(z->version_label, u("37/8.0.17"));
        QCOMPARE(qx_z_l::version_label_s(u("001002100"), 5), u("5/10.2.100"));
        QCOMPARE(z->product_code, u("Q37"));
        QCOMPARE(z->program_directory, u("/usr/bin/"));
        QCOMPARE(QFontInfo(z->default_font).family(), u("IPAGothic"));
        QCOMPARE(z->default_font.pointSize(), 12);

        static char a0[] = "KORVAN", a1[] = "請求 書", a2[] = "";
        char* argv[] = {a0, a1, a2, nullptr};
        qx_z_l other(u("KORVAN"), 3, argv);
        QCOMPARE(other.arguments, (s_l{u("請求 書"), QString()}));
        QCOMPARE(other.program_directory, u("K"));
    }

    void fonts_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("drawn_in");
        text_rows<2>({{"MS Gothic", "IPAGothic"},
                      {"ms mincho", "IPAMincho"},
                      {"Ms PGothic", "IPAPGothic"},
                      {"MS UI Gothic", "IPAPGothic"},
                      {"ＭＳ ゴシック", "IPAGothic"},
                      {"ＭＳ Ｐゴシック", "IPAPGothic"},
                      {"ipagothic", "IPAGothic"}});
    }
    void fonts() {
        QFETCH(QString, name);
        const QString family = qx_z_l::installed_family_s(name);
        QVERIFY(!family.isEmpty());
        QTEST(QFontInfo(QFont(family, 12)).family(), "drawn_in");
        QCOMPARE(qx_z_l::installed_family_s(u("No Such Family 42")), QString());
    }

    void reader_states() {
        qx_read_l r(z);
        QCOMPARE(r.read(), 5);
        QCOMPARE(z->message, u("not open read"));
        QVERIFY(!r.open_b(path("missing.txt"), u("UTF-8")));
        QCOMPARE(z->message, u("open read error(") + path("missing.txt") + u(")"));
        QCOMPARE(r.read(), 5);

        spit(path("one.txt"), "first\nlast");
        spit(path("two.txt"), "other\n");
        QVERIFY(r.open_b(path("one.txt"), u("UTF-8")));
        QVERIFY(!r.open_b(path("two.txt"), u("UTF-8")));
        QCOMPARE(z->message, u("already open read"));
        int st;
        QCOMPARE(read_all(&r, &st), (QStringList{u("first"), u("last")})); // still the first
        QCOMPARE(st, 1);
        QCOMPARE(r.line, QString());
        QCOMPARE(r.read(), 1);
        r.read_close_v();
        r.read_close_v();
        QCOMPARE(r.read(), 5);
        QVERIFY(r.open_b(path("two.txt"), u("UTF-8"))); // reusable after closing
        QCOMPARE(read_all(&r, &st), QStringList{u("other")});
    }

    void reader_lines_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QStringList>("lines");
        for (const char* e : {"UTF-8", "sjis", "eucjp", "latin1"})
            QTest::addRow("CR LF %s", e)
                << QByteArray("a\r\nb\r\n") << u(e) << QStringList{"a", "b"};
        const auto row = [](const char* tag, const QByteArray& bytes, const char* encoding,
                            const QStringList& lines) {
            QTest::newRow(tag) << bytes << u(encoding) << lines;
        };
        row("empty file", QByteArray(), "UTF-8", {});
        row("empty lines", "\n\r\n", "UTF-8", {"", ""});
        row("lone CR stays", "a\rb\n", "UTF-8", {"a\rb"});
        row("bad UTF-8", "a\xff\xfe\n", "UTF-8", {"a" + fffd + fffd});
        row("BOM", "\xEF\xBB\xBF\x61\nd", "UTF-8", {"a", "d"});
        row("BOM overrides sjis", "\xEF\xBB\xBF\xE6\xBC\xA2\n", "sjis", {u("漢")});
        row("sjis cut at end", "abc\x82", "sjis", {"abc" + fffd});
        row("sjis cut at line end", "\x8a\xbf\x8e\r\nx", "sjis", {u("漢") + fffd, "x"});
        row("sjis lead, no trail", "a\x81 z\n", "sjis", {"a" + fffd + " z"});
        row("sjis controls", "\x1a\x1c\x7f\t\n", "sjis", {u("\x1a\x1c\x7f\t")});
        row("euc cut at end", "a\xb4", "eucjp", {"a" + fffd});
    }
    void reader_lines() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, encoding);
        spit(path("lines.txt"), bytes);
        qx_read_l r(z);
        QVERIFY(r.open_b(path("lines.txt"), encoding));
        int st;
        QTEST(read_all(&r, &st), "lines");
        QCOMPARE(st, 1);
    }

    void reader_long_line() {
        const QByteArray big(10 * 1024 * 1024, 'x');
        spit(path("big.txt"), big + "\r\nend");
        qx_read_l r(z);
        QVERIFY(r.open_b(path("big.txt"), u("UTF-8")));
        QCOMPARE(r.read(), 0);
        QCOMPARE(r.line, QString::fromLatin1(big));
        QCOMPARE(r.read(), 0);
        QCOMPARE(r.line, u("end"));
        QCOMPARE(r.read(), 1);
    }

    void writer_states() {
        qx_write_l w(z);
        QVERIFY(!w.write_b(u("x")));
        QCOMPARE(z->message, u("not open write"));
        QVERIFY(!w.open_b(path("no/such/dir/x.txt"), u("OT"), u("UTF-8")));
        QCOMPARE(z->message, u("Open Write error"));
        QVERIFY(!w.write_b(u("x")));
        QCOMPARE(z->message, u("not open write"));

        QVERIFY(w.open_b(path("w1.txt"), u("OT"), u("UTF-8")));
        QVERIFY(!w.open_b(path("w2.txt"), u("OT"), u("UTF-8,W")));
        QCOMPARE(z->message, u("already open write"));
        QVERIFY(w.write_b(u("漢")));
        w.write_close_v();
        w.write_close_v();
        QCOMPARE(slurp(path("w1.txt")), QByteArray("\xE6\xBC\xA2\n")); // no BOM, first style
        QVERIFY(!QFile::exists(path("w2.txt")));

        QVERIFY(w.open_b(path("w1.txt"), u("ADD"), u("UTF-8")));
        QVERIFY(w.write_b(u("two")));
        w.write_close_v();
        QCOMPARE(slurp(path("w1.txt")), QByteArray("\xE6\xBC\xA2\ntwo\n"));
        QVERIFY(w.open_b(path("w1.txt"), u("NEW"), u("UTF-8"))); // any other mode: afresh
        QVERIFY(w.write_b(u("3")));
        w.write_close_v();
        QCOMPARE(slurp(path("w1.txt")), QByteArray("3\n"));
    }

    void writer_line_ends_data() {
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QByteArray>("bytes"); // of "a" and "漢\x1a"
        QTest::newRow("W") << u("UTF-8,W") << QByteArray("a\r\n漢\x1a\r\n");
        QTest::newRow("u") << u("UTF-8,u") << QByteArray("a\n漢\x1a\n");
        QTest::newRow("blanks trimmed") << u(" utf8 , u ") << QByteArray("a\n漢\x1a\n");
        QTest::newRow("empty style") << u("UTF-8,") << QByteArray("a\n漢\x1a\n");
        QTest::newRow("sjis W") << u("sjis,W") << QByteArray("a\r\n\x8a\xbf\x1a\r\n");
        QTest::newRow("euc") << u("EUC_JP") << QByteArray("a\n\xb4\xc1\x1a\n");
    }
    void writer_line_ends() {
        QFETCH(QString, encoding);
        qx_write_l w(z);
        QVERIFY(w.open_b(path("ends.txt"), u("OT"), encoding));
        QVERIFY(w.write_b(u("a")));
        QVERIFY(w.write_b(u("漢\x1a")));
        w.write_close_v();
        QTEST(slurp(path("ends.txt")), "bytes");
    }

    // Files made by the system's iconv read back as the same text, and written again
    // they are the same bytes.
    void japanese_round_trip_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("charset");
        QTest::addColumn<QString>("read_as");
        QTest::addColumn<QString>("write_as");
        text_rows<4>({{"請求書 ①㈱～", "CP932", "sjis", "Shift_JIS"},
                      {"髙﨑 Ⅲ ≒ ∵ ― ∥ ＼ ｱｲｳ \\~ \x1c\x7f", "CP932", "SHIFT-JIS", "sjis"},
                      {"請求書 納品書 ｱｲｳ", "EUC-JP", "eucjp", "EUC-JP"}});
    }
    void japanese_round_trip() {
        QFETCH(QString, text);
        QFETCH(QString, charset);
        QFETCH(QString, read_as);
        QFETCH(QString, write_as);
        const QByteArray bytes = iconv_to(text + u("\n2行目\n"), charset.toLatin1().constData());
        QVERIFY2(!bytes.isEmpty(), "iconv failed");
        spit(path("jp.txt"), bytes);
        qx_read_l r(z);
        QVERIFY(r.open_b(path("jp.txt"), read_as));
        int st;
        const QStringList lines = read_all(&r, &st);
        QCOMPARE(lines, (QStringList{text, u("2行目")}));
        qx_write_l w(z);
        QVERIFY(w.open_b(path("jp2.txt"), u("OT"), write_as));
        for (const QString& l : lines)
            QVERIFY(w.write_b(l));
        w.write_close_v();
        QCOMPARE(slurp(path("jp2.txt")), bytes);
    }

    void file_encoding_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<bool>("reads_right"); // read as detected, the file ends in the text
        const QByteArray sjis = iconv_to(u("請求書"), "CP932");
        const QByteArray utf8 = u("請求書").toUtf8();
        const QByteArray mb(1536 * 1024, 'a'); // one and a half megabytes of ASCII
        const QString u8 = u("UTF-8"), sj = u("Shift-JIS");
        QTest::newRow("utf-8") << utf8 << u8 << true;
        QTest::newRow("cp932") << sjis << sj << true;
        QTest::newRow("BOM, then bad bytes") << QByteArray("\xEF\xBB\xBF\x82\xa0") << u8 << false;
        QTest::newRow("cp932 after 1.5 MB") << mb + sjis << sj << true;
        QTest::newRow("utf-8 after 1.5 MB") << mb + utf8 << u8 << true;
        QTest::newRow("utf-8, cp932 at 3 MB") << utf8 + mb + mb + sjis << sj << false;
        QTest::newRow("utf-8 across 64 KB") << QByteArray(65535, 'a') + utf8 << u8 << true;
        QTest::newRow("utf-8 cut at end") << QByteArray("abc\xe6\xbc") << sj << false;
        QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << sj << false;
        QTest::newRow("above U+10FFFF") << QByteArray("\xf4\x90\x80\x80") << sj << false;
    }
    void file_encoding() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, reads_right);
        spit(path("detect.txt"), bytes);
        QTEST(z->file_encoding_s(path("detect.txt")), "encoding");
        if (reads_right) {
            qx_read_l r(z);
            QVERIFY(r.open_b(path("detect.txt"), z->file_encoding_s(path("detect.txt"))));
            QCOMPARE(r.read(), 0);
            QVERIFY(r.line.endsWith(u("請求書")));
        }
        z->forced_encoding = u("EUC-JP");
        QCOMPARE(z->file_encoding_s(path("detect.txt")), u("EUC-JP"));
        z->forced_encoding.clear();
    }

    void encoding_from_environment_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("forced");
        text_rows<2>({{"sjis", "Shift-JIS"}, {"EUC_JP", "EUC-JP"}, {"latin1", ""}});
    }
    void encoding_from_environment() {
        QFETCH(QString, value);
        static char a0[] = "korvan";
        char* argv[] = {a0, nullptr};
        qputenv("KORVAN_ENCODING", value.toUtf8());
        qx_z_l other(u("KORVAN"), 1, argv);
        qunsetenv("KORVAN_ENCODING");
        QTEST(other.forced_encoding, "forced");
    }

    void version_report_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("report"); // empty: no VERSION request
        const QStringList vv{"VERSION", "VERSION"};
        QTest::newRow("KORVAN") << u("KORVAN") << vv << QByteArray("14\n");
        QTest::newRow("any case") << u("KORVAN") << QStringList{"version", "Version"}
                                  << QByteArray("14\n");
        QTest::newRow("BELDOM") << u("BELDOM") << vv << QByteArray("2\n");
        QTest::newRow("other") << u("OTHER") << vv << QByteArray("37\t000800017\n");
        QTest::newRow("one word") << u("KORVAN") << QStringList{"VERSION"} << QByteArray();
        QTest::newRow("three words") << u("KORVAN") << vv + QStringList{"X"} << QByteArray();
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
        static char a0[] = "korvan";
        char* argv[] = {a0, nullptr};
        qx_z_l ctx(program, 1, argv);
        ctx.root_directory = root.path();
        QCOMPARE(ctx.version->version_b(&args), !report.isEmpty());
        QCOMPARE(slurp(file), report.isEmpty() ? older : report);

        // No work directory: the request is still answered, and nothing is created.
        ctx.root_directory = root.path() + u("/gone");
        QCOMPARE(ctx.version->version_b(&args), !report.isEmpty());
        if (!report.isEmpty()) QCOMPARE(ctx.message, u("Open Write error"));
        QVERIFY(!QFile::exists(root.path() + u("/gone")));
    }
};

QTEST_MAIN(test_core)
#include "test_core.moc"
