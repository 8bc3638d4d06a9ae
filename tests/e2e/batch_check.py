#!/usr/bin/env python3
"""Reads the PDFs that korvan-batch made of the examples with pdfinfo, pdftotext,
pdftoppm and zbarimg, and checks them against what the example data says."""
import os
import re
import subprocess
import sys

bin_dir, src, work = sys.argv[1:4]
ex = os.path.join(src, "examples")
batch = os.path.join(bin_dir, "korvan-batch")
failures = []


def fail(what):
    failures.append(what)
    print("  FAIL", what)


def run(*args):
    return subprocess.run(args, check=True, capture_output=True, text=True).stdout


def pdf_pages_and_size(pdf):
    info = run("pdfinfo", pdf)
    pages = int(re.search(r"^Pages:\s+(\d+)", info, re.M).group(1))
    w, h = re.search(r"^Page size:\s+([\d.]+) x ([\d.]+)", info, re.M).groups()
    return pages, round(float(w)), round(float(h))


def page_text(pdf, page):
    # Characters are placed one by one on a grid, so the extracted text has blanks
    # between them; compare without any white space. -raw keeps the drawing order,
    # which keeps each vertical column together.
    text = run("pdftotext", "-raw", "-f", str(page), "-l", str(page), pdf, "-")
    return re.sub(r"\s+", "", text)


def barcodes(pdf, page, dpi=300):
    png = os.path.join(work, "scan")
    run("pdftoppm", "-r", str(dpi), "-f", str(page), "-l", str(page), "-png", "-singlefile",
        pdf, png)
    out = subprocess.run(["zbarimg", "-q", png + ".png"], capture_output=True, text=True).stdout
    return sorted(line.strip() for line in out.splitlines() if line.strip())


def ean_check(digits):
    # Weights 3 and 1 alternate so that the last digit has weight 3.
    total = sum(int(d) * (3 if (len(digits) - i) % 2 == 1 else 1) for i, d in enumerate(digits))
    return str((10 - total % 10) % 10)


def code39_check(text):
    alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%"
    return alphabet[sum(alphabet.index(c) for c in text) % 43]


def commas(v):
    return "{:,}".format(int(v))


def records(path, encoding="utf-8"):
    with open(path, encoding=encoding) as f:
        return [line.rstrip("\n").split("\t") for line in f if line.strip()]


# --- the invoice: one page per line, amounts and dates edited, bar codes from the data
pdf = os.path.join(work, "invoice.pdf")
rows = records(os.path.join(ex, "invoice", "invoice.tsv"))
pages, w, h = pdf_pages_and_size(pdf)
if (pages, w, h) != (len(rows), 595, 842):
    fail("invoice: %d pages of %dx%d, expected %d of 595x842" % (pages, w, h, len(rows)))
for p, r in enumerate(rows, 1):
    text = page_text(pdf, p)
    date = "%s-%s-%s" % (r[0][0:4], r[0][4:6], r[0][6:8])
    wanted = [date, r[1], r[2].replace(" ", ""), "\\" + commas(r[3])]
    for i in range(8):
        name, qty, amount = r[4 + 3 * i: 7 + 3 * i]
        wanted += [name.replace("\u3000", ""), commas(qty) + commas(amount)]
    for piece in wanted:
        if piece not in text:
            fail("invoice page %d: %r not in its text" % (p, piece))
    if p == 1:
        jan = r[28] + ean_check(r[28])
        found = barcodes(pdf, p)
        for code in ("EAN-13:" + jan, "CODE-39:" + r[29] + code39_check(r[29])):
            if code not in found:
                fail("invoice page 1: bar code %s not read, zbarimg gave %s" % (code, found))

# --- the labels: two sheets of 14, each label's JAN readable
pdf = os.path.join(work, "labels.pdf")
rows = records(os.path.join(ex, "labels", "labels.tsv"))
pages, w, h = pdf_pages_and_size(pdf)
if (pages, w, h) != (2, 595, 842):
    fail("labels: %d pages of %dx%d, expected 2 of 595x842" % (pages, w, h))
for p in (1, 2):
    wanted = sorted("EAN-13:" + r[2] + ean_check(r[2]) for r in rows[14 * (p - 1): 14 * p])
    found = [c for c in barcodes(pdf, p) if c.startswith("EAN-13:")]
    if found != wanted:
        fail("labels page %d: bar codes %s, expected %s" % (p, found, wanted))
    text = page_text(pdf, p)
    for r in rows[14 * (p - 1): 14 * p]:
        if r[0].replace(" ", "") not in text or "\\" + commas(r[1]) not in text:
            fail("labels page %d: %r or its price missing" % (p, r[0]))

# --- the delivery slip: Shift-JIS data prints exactly what its UTF-8 twin prints
pdf = os.path.join(work, "delivery.pdf")
pages, w, h = pdf_pages_and_size(pdf)
if (pages, w, h) != (2, 595, 420):
    fail("delivery: %d pages of %dx%d, expected 2 of 595x420 (A5 landscape)" % (pages, w, h))
twin = os.path.join(work, "delivery-utf8.pdf")
run(batch, "--pdf", twin, os.path.join(ex, "delivery", "delivery-utf8.tsv"),
    os.path.join(ex, "delivery", "delivery.csv"))
for p in (1, 2):
    a, b = page_text(pdf, p), page_text(twin, p)
    if a != b:
        fail("delivery page %d: Shift-JIS and UTF-8 data print differently" % p)
first = records(os.path.join(ex, "delivery", "delivery-utf8.tsv"))[0]
text = page_text(pdf, 1)
# Vertical data goes through REPLACE_V: the brackets and the dash turn.
turned = first[0].replace("（", "︵").replace("）", "︶").replace(" ", "")
if turned not in text:
    fail("delivery page 1: recipient %r not printed as %r" % (first[0], turned))
if "2024-11-21" not in text:
    fail("delivery page 1: the date is not edited to 2024-11-21")

sys.exit(1 if failures else 0)
