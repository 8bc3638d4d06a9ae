#include "bench_data.h"

#include "layout/form.h"

#include <cstdio>
#include <random>
#include <string>

namespace {

// Office supplies: kanji, kana, digits and Latin letters, as on real invoices.
const char* const words[] = {"ボールペン", "黒",           "赤",
                             "青",         "コピー用紙",   "A4",
                             "B5",         "500枚",        "クリアファイル",
                             "ホッチキス", "針",           "蛍光ペン",
                             "黄",         "緑",           "付箋",
                             "大",         "小",           "業務用",
                             "封筒",       "長形3号",      "角形2号",
                             "ノート",     "罫線",         "方眼",
                             "印鑑",       "朱肉",         "電卓",
                             "12桁",       "消しゴム",     "鉛筆",
                             "HB",         "2B",           "シャープペン",
                             "替芯",       "0.5mm",        "定規",
                             "30cm",       "はさみ",       "のり",
                             "スティック", "テープ",       "透明",
                             "段ボール",   "箱",           "梱包材",
                             "トナー",     "純正",         "互換",
                             "インク",     "カートリッジ", "名刺",
                             "100枚入",    "請求書用紙",   "領収書",
                             "複写式",     "伝票",         "納品書",
                             "10冊",       "セット",       "ファイル",
                             "バインダー", "2穴",          "保存箱",
                             "乾電池",     "単3",          "単4",
                             "延長コード", "3m",           "マウス",
                             "無線",       "キーボード",   "USBメモリ",
                             "32GB"};
constexpr int word_count = int(sizeof(words) / sizeof(words[0]));
const char* const full_width_space = "\xE3\x80\x80";

// Characters of a UTF-8 text (all of them in the Basic Multilingual Plane here).
int characters(const std::string& s) {
    int n = 0;
    for (unsigned char c : s)
        n += (c & 0xC0) != 0x80;
    return n;
}

std::string item_name(std::mt19937& rng, int max_chars) {
    std::uniform_int_distribution<int> pick(0, word_count - 1);
    const int target = std::uniform_int_distribution<int>(4, max_chars)(rng);
    std::string name;
    int length = 0;
    for (;;) {
        const std::string w = words[pick(rng)];
        const int extra = characters(w) + (name.empty() ? 0 : 1);
        if (length >= target || length + extra > max_chars) break;
        if (!name.empty()) name += full_width_space;
        name += w;
        length += extra;
    }
    if (name.empty()) name = words[pick(rng)];
    return name;
}

std::string digits(std::mt19937& rng, int n, const char* alphabet) {
    const int size = int(std::char_traits<char>::length(alphabet));
    std::uniform_int_distribution<int> pick(0, size - 1);
    std::string s;
    for (int i = 0; i < n; ++i)
        s += alphabet[pick(rng)];
    return s;
}

} // namespace

bool write_invoice_data(const QString& path, int pages, int line_bytes) {
    std::FILE* out = std::fopen(path.toLocal8Bit().constData(), "wb");
    if (!out) return false;
    std::mt19937 rng(20240601);
    // Long lines: names of 4 to twice the mean length, about 2.8 bytes a character.
    const int name_chars = line_bytes > 0 ? qMax(20, (line_bytes - 200) / 28) : 20;
    std::string line;
    for (int page = 1; page <= pages; ++page) {
        line.clear();
        if (line_bytes > 0) line += "page" + std::to_string(page) + " ";
        for (int row = 0; row < 20; ++row) {
            line += item_name(rng, name_chars);
            line += '\t';
            const int magnitude = std::uniform_int_distribution<int>(3, 8)(rng);
            int top = 1;
            for (int i = 0; i < magnitude; ++i)
                top *= 10;
            line += std::to_string(std::uniform_int_distribution<int>(1, top - 1)(rng));
            line += '\t';
        }
        line += "49" + digits(rng, 10, "0123456789") + '\t';
        line += digits(rng, 8, "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") + '\n';
        if (std::fwrite(line.data(), 1, line.size(), out) != line.size()) {
            std::fclose(out);
            return false;
        }
    }
    return std::fclose(out) == 0;
}

QString invoice_layout_path() {
    return QStringLiteral(KORVAN_BENCH_DIR "/invoice/invoice.csv");
}

namespace {

qx_print_l* add_item(p_l& list, const QString& keyword, int style, float x1, float y1, float x2 = 0,
                     float y2 = 0) {
    auto* item = new qx_print_l;
    item->keyword = keyword;
    item->style = style;
    item->num1 = x1, item->num2 = y1, item->num3 = x2, item->num4 = y2;
    list.append(item);
    return item;
}

// The form of invoice/invoice.csv, item for item.
void build_invoice_by_hand(form_l& f) {
    f.paper_name = QStringLiteral("A4");
    f.paper_orientation = QStringLiteral("1");
    f.line_names = {QStringLiteral("L")};
    f.line_widths = {0.3f};
    f.line_kinds = {QStringLiteral("0")};
    const int big = int(f.char_sizes.size()), middle = big + 1, small = big + 2;
    for (float size : {10.0f, 4.0f, 3.5f}) {
        f.char_names.append(QString());
        f.char_sizes.append(size);
        f.char_fonts.append(QStringLiteral("IPAGothic"));
        f.char_attrs.append(QString());
    }
    add_item(f.line_items, QStringLiteral("BOX"), 0, 10, 10, 200, 287);
    for (int row = 0; row < 20; ++row)
        add_item(f.line_items, QStringLiteral("X_LINE"), 0, 15, 80.0f + 8 * row, 195);
    for (float x : {15.0f, 60.0f, 110.0f, 150.0f, 195.0f})
        add_item(f.line_items, QStringLiteral("Y_LINE"), 0, x, 80, 0, 240);

    const struct {
        const char* text;
        int style;
        float x, y;
    } texts[] = {{"請求書", big, 75, 17},     {"請求先", middle, 15, 36},
                 {"備考", middle, 15, 46},    {"請求番号", middle, 120, 36},
                 {"請求日", middle, 120, 46}, {"品名", middle, 17, 73},
                 {"金額", middle, 152, 73}};
    for (const auto& t : texts)
        add_item(f.print_items, QStringLiteral("TEXT"), t.style, t.x, t.y)->text =
            QString::fromUtf8(t.text);
    for (int row = 0; row < 20; ++row) {
        add_item(f.print_items, QStringLiteral("DATA"), small, 17, 82.0f + 8 * row)->data_flag = 1;
        qx_print_l* amount =
            add_item(f.print_items, QStringLiteral("DATA"), small, 154.9f, 82.0f + 8 * row);
        amount->data_flag = 1;
        amount->count = 12;
        amount->edit = QStringLiteral("+");
    }
    qx_print_l* jan = add_item(f.print_items, QStringLiteral("JAN"), 0, 20, 245);
    jan->data_flag = 1, jan->num5 = 0.33f, jan->num6 = 20;
    qx_print_l* code = add_item(f.print_items, QStringLiteral("CODE39"), 0, 120, 250);
    code->data_flag = 1, code->num5 = 0.25f, code->num6 = 12;
    f.offsets = {0, 0};
    f.values_per_form = invoice_values;
}

} // namespace

bool setup_invoice_form(form_l& form) {
    form.setup_v();
    if (form.error_flag == 1) return false;
    if (form.print_items.isEmpty()) {
        static bool told = false;
        if (!told)
            std::fprintf(stderr, "(the layout reader made no items: invoice form built by hand)\n");
        told = true;
        build_invoice_by_hand(form);
    }
    return form.values_per_form == invoice_values;
}
