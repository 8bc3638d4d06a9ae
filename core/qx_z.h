// The program context: one per run, handed by pointer to every class. It holds what
// the run knows of its surroundings (arguments, directories, machine, default font,
// palette, version) and is the receiver of the general operations on strings,
// numbers, lists, paths, character widths and files.
#pragma once

#include <QBrush>
#include <QDateTime>
#include <QFont>
#include <QList>
#include <QPen>
#include <QString>
#include <array>
#include <memory>

class QPainter;
class QFontMetrics;
class qx_version_l;
class qx_read_l;
class qx_write_l;

// Small result record filled by parsing and counting operations.
struct qx_zz_l {
    QChar c = QLatin1Char(' ');
    double num1 = 0.0;
    qint64 num2 = 0; // its low 32 bits count positions while a string is measured
    QString text;
};

// One drawable layout item (see layout/form.h for how the fields are used).
struct qx_print_l {
    QString keyword;
    int data_flag = 0;
    QString text;
    QString edit;
    int style = 0;
    int count = 0;
    float num1 = 0, num2 = 0, num3 = 0, num4 = 0, num5 = 0, num6 = 0, num7 = 0;
};

// The list types: ordered, growable, 0-based.
using s_l = QList<QString>;
using f_l = QList<float>;
using i_l = QList<int>;
using p_l = QList<qx_print_l*>;
using pe_l = QList<QPen>;
using re_l = QList<qx_read_l*>;
using wr_l = QList<qx_write_l*>;

class qx_z_l {
public:
    // Character classes of kind_code.
    static constexpr int KIND_NONE = 0;
    static constexpr int KIND_ASCII = 1;
    static constexpr int KIND_WIDE = 2;
    static constexpr int KIND_HALF_KANA = 3;
    static constexpr int KIND_HIGH_SURROGATE = 4;
    static constexpr int KIND_LOW_SURROGATE = 5;

    qx_z_l(const QString& name, int argc, char** argv);
    ~qx_z_l();
    qx_z_l(const qx_z_l&) = delete;
    qx_z_l& operator=(const qx_z_l&) = delete;

    // --- fields ---
    int font_size = 12;
    QString program_name;
    QChar platform_code = QLatin1Char('U');
    QString path_separator;
    QString delete_command;
    QString root_directory;
    QString default_font_family = QStringLiteral("MS Gothic");
    QString font_family;
    QFont default_font;
    s_l arguments;
    QString program_path;
    QString program_directory;
    QString current_directory;
    QString machine_name;
    QString machine_name_upper;
    QString machine_key;
    int grey_level = 210;
    QList<QBrush> palette;
    std::unique_ptr<qx_version_l> version;
    QString version_label;
    QString product_code;
    QString message;
    QString compare_note;
    bool numeric_ok = false;
    qx_zz_l result1, result2, result3;
    s_l work_strings;
    f_l work_floats;
    i_l work_ints;
    // String settings that no operation of the program reads; kept with their defaults.
    s_l settings;
    QString title = QStringLiteral("KORVAN");

    // --- start-up (qx_z.cpp) ---
    void sub_v(const QString& name);
    QString environment_s(const QString& name) const;
    QString user_name_s() const;
    QString machine_name_s();
    QString get_current_directory_s() const;
    // Program directory rule: everything up to and including the last separator found
    // from the end down to position 1; with none, the first character alone.
    static QString program_directory_s(const QString& program_path, const QString& separator);
    // Short host name from the first line that "hostname" printed.
    QString machine_name_from_s(const QString& first_line);
    // The machine name upper-cased, with "_" for every "-".
    static QString machine_key_s(const QString& name);
    static QString version_label_s(const QString& version_text, int general_number);
    void beep_v();
    void fill_rect_v(QPainter* painter, const QBrush& brush, float x, float y, float width,
                     float height);
    bool e2k_b(int key, int expected);

    // --- paths (paths.cpp) ---
    bool check_path_b(const QString& name);
    QString get_tmp_path_s(const QString& tail);
    QString get_tmp_path_s(const QString& program, const QString& tail);
    QString get_tmp_file_s(const QString& name);

    // --- encodings (textfile.cpp) ---
    QString encode_s(const QString& name);
    // Set from KORVAN_ENCODING or korvan-batch --encoding: the encoding of the layout
    // and data files. Empty: each file is looked at (file_encoding_s).
    QString forced_encoding;
    // The encoding to read a layout or data file in: the forced one, else UTF-8 when
    // the file is valid UTF-8 (or starts with a byte-order mark), else Shift-JIS.
    QString file_encoding_s(const QString& path);

    // --- fonts (fonts.cpp) ---
    // Maps the Windows Japanese font names to the IPA fonts, and makes the IPAex fonts
    // and IPAmj Mincho stand in for what those lack, once per process.
    static void install_font_substitutions();
    // The installed family that `name` stands for (case-insensitive, mapped names
    // included), or empty when there is none.
    static QString installed_family_s(const QString& name);

    // --- character classes and widths (charclass.cpp) ---
    int kind_code(QChar c);
    int form_length(QChar c);
    int form_length(qx_zz_l* counter, QChar c);
    int form_length(const QString& s, int n);
    int form_length(const QString& s);

    // --- numbers (strings.cpp) ---
    double to_double_o(const QString& text, QChar sign, double default_value, int report);
    int to_int_check(const QString& text, QChar sign, int default_value, int report);
    int to_int1s_i(const QString& text);
    int to_int_c_i(QChar c);
    QString to_i_s(int n);
    QString to1_i_s(int n);

    // --- comparison ---
    bool e2s_b(const QString& a, const QString& b);
    bool e3s_b(const QString& a, const QString& b, const QString& c);
    bool e4s_b(const QString& a, const QString& b, const QString& c, const QString& d);
    bool e5s_b(const QString& a, const QString& b, const QString& c, const QString& d,
               const QString& e);
    bool e6s_b(const QString& a, const QString& b, const QString& c, const QString& d,
               const QString& e, const QString& f);
    bool e7s_b(const QString& a, const QString& b, const QString& c, const QString& d,
               const QString& e, const QString& f, const QString& g);
    bool e8s_b(const QString& a, const QString& b, const QString& c, const QString& d,
               const QString& e, const QString& f, const QString& g, const QString& h);
    bool e9s_b(const QString& a, const QString& b, const QString& c, const QString& d,
               const QString& e, const QString& f, const QString& g, const QString& h,
               const QString& i);
    bool e2c_b(QChar a, QChar b) const { return a == b; }
    bool e3i_b(int v, int a, int b) const { return v == a || v == b; }
    bool starts_with_b(const QString& s, const QString& prefix) const;
    bool ends_with_b(const QString& s, const QString& suffix) const;

    // --- substrings and search ---
    int length(const QString& s) const { return int(s.size()); }
    QString substring2_s(const QString& s, int start) const;
    QString substring3_s(const QString& s, int start, int count) const;
    QChar at_s_c(const QString& s, int pos) const;
    int index2s_i(const QString& s, const QString& what) const;
    int index2c_i(const QString& s, QChar what) const;
    int index3s_i(const QString& s, const QString& what, int from) const;
    int index3c_i(const QString& s, QChar what, int from) const;
    int last_index2c_i(const QString& s, QChar what) const;

    // --- case, trimming, replacing, padding ---
    QString upper_s(const QString& s) const { return s.toUpper(); }
    QString lower_s(const QString& s) const { return s.toLower(); }
    QChar to_upper_c(QChar c) const { return c.toUpper(); }
    QString trim_s(const QString& s) const;
    QString trim_start_s(const QString& s) const;
    QString trim_end_s(const QString& s) const;
    QString replace_c_s(const QString& s, QChar from, QChar to) const;
    QString replace_s_s(const QString& s, const QString& from, const QString& to) const;
    QString to_c_s(QChar c) const { return QString(c); }
    QString pad_start_s(const QString& s, int width, QChar fill = QLatin1Char(' ')) const;
    QString pad_end_s(const QString& s, int width, QChar fill = QLatin1Char(' ')) const;

    // --- splitting and lists ---
    s_l split_sx(const QString& s, QChar sep) const;
    int count_sx_i(const s_l& l) const { return int(l.size()); }

    void add_s(s_l* l, const QString& s) const { l->append(s); }
    QString at_s(const s_l* l, int i) const;
    int count_s_i(const s_l* l) const { return int(l->size()); }
    void clear_s_v(s_l* l) const { l->clear(); }
    void add_i(i_l* l, int v) const { l->append(v); }
    int at_i(const i_l* l, int i) const;
    int count_i_i(const i_l* l) const { return int(l->size()); }
    void clear_i_v(i_l* l) const { l->clear(); }
    void add_f(f_l* l, float v) const { l->append(v); }
    float at_f(const f_l* l, int i) const;
    int count_f_i(const f_l* l) const { return int(l->size()); }
    void clear_f_v(f_l* l) const { l->clear(); }
    void add_p(p_l* l, qx_print_l* p) const { l->append(p); }
    qx_print_l* at_p(const p_l* l, int i) const;
    int count_p_i(const p_l* l) const { return int(l->size()); }
    void add_pe(pe_l* l, const QPen& p) const { l->append(p); }
    QPen at_pe(const pe_l* l, int i) const;
    void clear_pe_v(pe_l* l) const { l->clear(); }
    int index2as_i(const s_l* l, const QString& s) const { return index3as_i(l, s, 0); }
    int index3as_i(const s_l* l, const QString& s, int from) const;

    // --- date and time ---
    QDateTime date_time_now_s() const { return QDateTime::currentDateTime(); }
    QString date_time_s(const QDateTime& t, int style) const;

    // --- edits and check characters (render/edit.cpp, barcode/*.cpp) ---
    QString comma_s(const QString& text) const;
    QString code39_s(const QString& text) const;
    QString jan_s(const QString& digits) const;

private:
    bool e_list_b(const QString& a, std::initializer_list<QString> candidates);
    // kind_code measures each character once per run; -1 = not measured yet.
    std::array<qint8, 65536> kind_cache_;
    std::unique_ptr<QFontMetrics> metrics_;
    int measure_kind_code(QChar c);
};
