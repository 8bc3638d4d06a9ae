#!/usr/bin/env python3
"""Reads the PDFs that batch.sh made of the examples with pdfinfo, pdftotext, pdftoppm
and zbarimg, and checks them against what the example data says.
Usage: batch_check.py <build>/bin <source dir> <work dir>"""
import os
import re
import subprocess
import sys

bin_dir, src, work = sys.argv[1:4]
ex = os.path.join(src, "examples")
failures = []


def fail(what):
    failures.append(what)
    print("  FAIL", what)


def run(*args):
    return subprocess.run(args, check=True, capture_output=True, text=True).stdout


def check_pages(name, pages, size):
    info = run("pdfinfo", os.path.join(work, name + ".pdf"))
    got = (int(re.search(r"^Pages:\s+(\d+)", info, re.M).group(1)),) + tuple(
        round(float(v)) for v in re.search(r"^Page size:\s+([\d.]+) x ([\d.]+)", info, re.M).groups())
    if got != (pages,) + size:
        fail("%s: %d pages of %dx%d, expected %d of %dx%d" % ((name,) + got + (pages,) + size))


def page_text(pdf, page):
    # Characters are placed one by one on a grid, so the extracted text has blanks
    # between them; compare without any white space. -raw keeps the drawing order,
    # which keeps each vertical column together.
    return re.sub(r"\s+", "", run("pdftotext", "-raw", "-f", str(page), "-l", str(page), pdf, "-"))


def barcodes(pdf, page):
    png = os.path.join(work, "scan")
    run("pdftoppm", "-r", "300", "-f", str(page), "-l", str(page), "-png", "-singlefile", pdf, png)
    out = subprocess.run(["zbarimg", "-q", png + ".png"], capture_output=True, text=True).stdout
    return sorted(line.strip() for line in out.splitlines() if line.strip())


def ean(digits):
    # Weights 3 and 1 alternate so that the last digit has weight 3.
    total = sum(int(d) * (3 if (len(digits) - i) % 2 == 1 else 1) for i, d in enumerate(digits))
    return "EAN-13:" + digits + str((10 - total % 10) % 10)


def code39(text):
    alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%"
    return "CODE-39:" + text + alphabet[sum(alphabet.index(c) for c in text) % 43]


def commas(v):
    return "{:,}".format(int(v))


def records(name):
    with open(os.path.join(ex, name.split("-")[0], name + ".tsv"), encoding="utf-8") as f:
        return [line.rstrip("\n").split("\t") for line in f if line.strip()]


# --- the invoice: one page per line, amounts and dates edited, bar codes from the data
pdf = os.path.join(work, "invoice.pdf")
rows = records("invoice")
check_pages("invoice", len(rows), (595, 842))
for p, r in enumerate(rows, 1):
    text = page_text(pdf, p)
    wanted = ["%s-%s-%s" % (r[0][0:4], r[0][4:6], r[0][6:8]), r[1], r[2].replace(" ", ""),
              "\\" + commas(r[3])]
    for i in range(8):
        name, qty, amount = r[4 + 3 * i: 7 + 3 * i]
        wanted += [name.replace("\u3000", ""), commas(qty) + commas(amount)]
    for piece in wanted:
        if piece not in text:
            fail("invoice page %d: %r not in its text" % (p, piece))
    if p == 1:
        found = barcodes(pdf, p)
        for code in (ean(r[28]), code39(r[29])):
            if code not in found:
                fail("invoice page 1: bar code %s not read, zbarimg gave %s" % (code, found))

# --- the labels: two sheets of 14, each label's JAN readable
pdf = os.path.join(work, "labels.pdf")
rows = records("labels")
check_pages("labels", 2, (595, 842))
for p in (1, 2):
    sheet = rows[14 * (p - 1): 14 * p]
    found = [c for c in barcodes(pdf, p) if c.startswith("EAN-13:")]
    if found != sorted(ean(r[2]) for r in sheet):
        fail("labels page %d: bar codes %s, expected %s" % (p, found, sorted(ean(r[2]) for r in sheet)))
    text = page_text(pdf, p)
    for r in sheet:
        if r[0].replace(" ", "") not in text or "\\" + commas(r[1]) not in text:
            fail("labels page %d: %r or its price missing" % (p, r[0]))

# --- the delivery slip (A5 landscape): Shift-JIS data prints exactly what its UTF-8 twin prints
pdf = os.path.join(work, "delivery.pdf")
check_pages("delivery", 2, (595, 420))
twin = os.path.join(work, "delivery-utf8.pdf")
run(os.path.join(bin_dir, "korvan-batch"), "--pdf", twin,
    os.path.join(ex, "delivery", "delivery-utf8.tsv"), os.path.join(ex, "delivery", "delivery.csv"))
for p in (1, 2):
    if page_text(pdf, p) != page_text(twin, p):
        fail("delivery page %d: Shift-JIS and UTF-8 data print differently" % p)
first = records("delivery-utf8")[0]
text = page_text(pdf, 1)
# Vertical data goes through REPLACE_V: the brackets and the dash turn.
turned = first[0].replace("（", "︵").replace("）", "︶").replace(" ", "")
if turned not in text:
    fail("delivery page 1: recipient %r not printed as %r" % (first[0], turned))
if "2024-11-21" not in text:
    fail("delivery page 1: the date is not edited to 2024-11-21")

sys.exit(1 if failures else 0)
