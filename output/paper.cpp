// Paper names of the PAPER keyword: the names printers and print dialogs use, with the
// long ISO, JIS and North American spellings beside the short ones.
#include "layout/form.h"

#include <QList>

namespace {

// One accepted name (or two spellings of it) and its size. `custom` rows are names
// that are accepted but carry no size of their own, so the printer keeps its paper.
struct paper_row {
    QString name;
    QString other; // a second spelling, or empty
    QPageSize::PageSizeId id;
};

constexpr QPageSize::PageSizeId custom = QPageSize::Custom;

// The rows in the order they are tried; the first match decides.
const QList<paper_row>& paper_rows() {
    static const QList<paper_row> rows = [] {
        QList<paper_row> r;
        auto add = [&r](const QString& name, const QString& other, QPageSize::PageSizeId id) {
            r.append({name, other, id});
        };
        add(QStringLiteral("A"), QString(), QPageSize::Letter);
        add(QStringLiteral("B"), QString(), QPageSize::Ledger);
        add(QStringLiteral("C"), QString(), QPageSize::AnsiC);
        add(QStringLiteral("D"), QString(), QPageSize::AnsiD);
        // "E" names the same sheet as "D"; printers that were set up with it expect that.
        add(QStringLiteral("E"), QString(), QPageSize::AnsiD);
        add(QStringLiteral("EXECUTIVE"), QString(), QPageSize::ExecutiveStandard);
        add(QStringLiteral("FOLIO"), QString(), QPageSize::Folio);
        add(QStringLiteral("INVOICE"), QString(), custom);

        // The numbered series are tried in the order their names sort as text.
        static const int order[] = {0, 1, 10, 2, 3, 4, 5, 6, 7, 8, 9};
        static const QPageSize::PageSizeId iso_a[] = {QPageSize::A0, QPageSize::A1, QPageSize::A2,
                                                      QPageSize::A3, QPageSize::A4, QPageSize::A5,
                                                      QPageSize::A6, QPageSize::A7, QPageSize::A8,
                                                      QPageSize::A9, QPageSize::A10};
        static const QPageSize::PageSizeId iso_b[] = {QPageSize::B0, QPageSize::B1, QPageSize::B2,
                                                      QPageSize::B3, QPageSize::B4, QPageSize::B5,
                                                      QPageSize::B6, QPageSize::B7, QPageSize::B8,
                                                      QPageSize::B9, QPageSize::B10};
        static const QPageSize::PageSizeId jis_b[] = {
            QPageSize::JisB0, QPageSize::JisB1, QPageSize::JisB2, QPageSize::JisB3,
            QPageSize::JisB4, QPageSize::JisB5, QPageSize::JisB6, QPageSize::JisB7,
            QPageSize::JisB8, QPageSize::JisB9, QPageSize::JisB10};
        for (int n : order) {
            const QString a = QStringLiteral("A") + QString::number(n);
            add(a, QStringLiteral("ISO_") + a, iso_a[n]);
        }
        // A bare "B<n>" is the JIS size (the Japanese convention, further down); the ISO
        // B sizes are reached through their long names only.
        for (int n : order)
            add(QStringLiteral("ISO_B") + QString::number(n), QString(), iso_b[n]);
        static const QPageSize::PageSizeId envelope_c[] = {
            QPageSize::EnvelopeC0, QPageSize::EnvelopeC1, QPageSize::EnvelopeC2,
            QPageSize::EnvelopeC3, QPageSize::EnvelopeC4};
        for (int n = 0; n <= 4; ++n) {
            const QString c = QStringLiteral("C") + QString::number(n);
            add(c, QStringLiteral("ISO_") + c, envelope_c[n]);
        }
        add(QStringLiteral("C5"), QStringLiteral("ISO_C5"), QPageSize::C5E);
        add(QStringLiteral("C6"), QStringLiteral("ISO_C6"), QPageSize::EnvelopeC6);
        add(QStringLiteral("ISO_DESIGNATED_LONG"), QString(), custom);
        add(QStringLiteral("ITALY_ENVELOPE"), QString(), QPageSize::EnvelopeItalian);
        add(QStringLiteral("往復はがき"), QStringLiteral("JAPANESE_DOUBLE_POSTCARD"),
            QPageSize::DoublePostcard);
        add(QStringLiteral("はがき"), QStringLiteral("JAPANESE_POSTCARD"), QPageSize::Postcard);
        for (int n : order) {
            const QString b = QStringLiteral("B") + QString::number(n);
            add(b, QStringLiteral("JIS_") + b, jis_b[n]);
        }
        // Written with its trailing blank: "LEDGER" alone is not accepted.
        add(QStringLiteral("LEDGER "), QString(), QPageSize::Ledger);
        add(QStringLiteral("MONARCH_ENVELOPE"), QString(), QPageSize::EnvelopeMonarch);
        for (const char* name : {"NA_10X13_ENVELOPE", "NA_10X14_ENVELOPE", "NA_10X15_ENVELOPE",
                                 "NA_5X7", "NA_6X9_ENVELOPE", "NA_7X9_ENVELOPE", "NA_8X10",
                                 "NA_9X11_ENVELOPE", "NA_9X12_ENVELOPE"})
            add(QLatin1String(name), QString(), custom);
        add(QStringLiteral("LEGAL"), QStringLiteral("NA_LEGAL"), QPageSize::Legal);
        add(QStringLiteral("LETTER"), QStringLiteral("NA_LETTER"), QPageSize::Letter);
        add(QStringLiteral("NA_NUMBER_10_ENVELOPE"), QString(), QPageSize::Comm10E);
        add(QStringLiteral("NA_NUMBER_11_ENVELOPE"), QString(), QPageSize::Envelope11);
        add(QStringLiteral("NA_NUMBER_12_ENVELOPE"), QString(), QPageSize::Envelope12);
        add(QStringLiteral("NA_NUMBER_14_ENVELOPE"), QString(), QPageSize::Envelope14);
        add(QStringLiteral("NA_NUMBER_9_ENVELOPE"), QString(), QPageSize::Envelope9);
        add(QStringLiteral("PERSONAL_ENVELOPE"), QString(), QPageSize::EnvelopePersonal);
        add(QStringLiteral("QUARTO"), QString(), QPageSize::Quarto);
        add(QStringLiteral("TABLOID"), QString(), QPageSize::Tabloid);
        return r;
    }();
    return rows;
}

} // namespace

QPageSize form_l::media_size_n(const QString& name) {
    // Only the case is folded: blanks are part of the name.
    const QString upper = ctx->upper_s(name);
    found = 1;
    for (const paper_row& row : paper_rows()) {
        const bool match = row.other.isEmpty() ? ctx->e2s_b(upper, row.name)
                                               : ctx->e3s_b(upper, row.name, row.other);
        if (match) return QPageSize(row.id);
    }
    // An unknown name is not an error: the custom size carries no dimensions, so the
    // printer's own paper stays in force.
    found = 1;
    return QPageSize(custom);
}
