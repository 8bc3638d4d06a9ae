#!/usr/bin/env python3
"""Writes the seed corpora of the harnesses under fuzz/corpus/, from the examples and
from the cases the unit tests check. Each harness reads a few parameter bytes before its
text (see the comment at the top of each fuzz_*.cpp); the seeds carry them.
Run from the source tree: python3 fuzz/make_seeds.py"""
import os
import struct

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
corpus = os.path.join(root, "fuzz", "corpus")


def write(harness, name, data):
    d = os.path.join(corpus, harness)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), "wb") as f:
        f.write(data)


def example(path):
    with open(os.path.join(root, "examples", path), "rb") as f:
        return f.read()


# fuzz_data: start page - 1, data items - 1, flags (1 two copies, 2 preview, 4/8/12 encoding).
write("data", "delivery-sjis", bytes([0, 7, 0]) + example("delivery/delivery.tsv"))
write("data", "delivery-utf8", bytes([1, 7, 2]) + example("delivery/delivery-utf8.tsv"))
write("data", "labels", bytes([0, 2, 0]) + example("labels/labels.tsv"))
write("data", "invoice", bytes([0, 4, 1]) + example("invoice/invoice.tsv"))
write("data", "two-and-one", bytes([0, 2, 0]) + b"a\tb\nc\nd\te\nf\n")
write("data", "four-then-two", bytes([0, 2, 0]) + b"1\t2\t3\t4\n5\t6\n")
write("data", "start-page-3", bytes([2, 1, 0]) + b"a\tb\nc\td\ne\tf\n")
write("data", "crlf", bytes([0, 1, 0]) + b"a\tb\r\nc\td\r\n")
write("data", "empty-fields", bytes([0, 2, 4]) + b"\t\t\n\t\t\n")
write("data", "sized", bytes([0, 1, 0]) + b"x\t5:ABC\n9:\xe3\x83\xbc(\t1:x\n")
write("data", "utf16", bytes([0, 1, 0]) + "a\tb\nc\td\n".encode("utf-16"))
write("data", "barcodes", bytes([0, 7, 0]) + b"1\t2\t3\t4\t20240105\t6\tABC\t490123456789\n")

# fuzz_edit: code index, char count + 128 (2 bytes), flags (1 test data, 2 UTF-16).
codes = ["", "+", "-", ".", "E", "R", "Z", "D", "Y", "X", "z", "d", "++"]


def edit(name, code, n, value, test=False):
    write("edit", name, bytes([codes.index(code)]) + struct.pack("<H", n + 128) +
          bytes([1 if test else 0]) + value.encode())


edit("plus", "+", 10, "1234567")
edit("yen", "E", 8, "5000")
edit("yen-empty", "E", 8, "")
edit("date", "D", 0, "20240105")
edit("date-dmy", "Y", 0, "20240105")
edit("date-short", "D", 0, "2024105")
edit("zero-fraction", "Z", 0, "3.000")
edit("right", "R", 5, "ab")
edit("point", ".", 8, "1234.00")
edit("minus", "-", 8, "-1234")
edit("fraction", "+", 0, "1234567.891")
edit("unknown", "X", 5, "abc")
edit("test-date", "D", 0, "7", True)
edit("test-plus", "+", 8, "3", True)

# fuzz_barcode: flags (1 JAN, 2 test data), five picks from the number table, text.
bar = bytes([1, 3, 3, 3, 14])
for name, flags, text in [("code39", 0, "ABC"), ("code39-framed", 0, "*ABC*"),
                          ("code39-lower", 0, "abc"), ("code39-check43", 0, "Z7"),
                          ("jan12", 1, "490123456789"), ("jan7", 1, "4901234"),
                          ("jan-short", 1, "12345"), ("jan-letter", 1, "49012345678A"),
                          ("jan-test", 3, "7"), ("jan13", 1, "4901234567894")]:
    write("barcode", name, bytes([flags]) + bar + text.encode())

# fuzz_numbers: sign rule ('-' '+' '0' ' ' 'x'), flags (1 report, 2 UTF-16), text.
for i, text in enumerate(["12", "-3.5", "1e308", "1e309", "NaN", "99999999999", "2147483647",
                          "-2147483648", " 7 ", "0x10", "\uff11\uff12", "1,000", ".5", "5.",
                          "1e-400", "0", "+0", "-0.0e5", "2000000000", "-5"]):
    write("numbers", "n%02d" % i, bytes([i % 5, 1]) + text.encode())

# fuzz_text: encoding (UTF-8, Shift-JIS, EUC-JP, sjis, KOI8-R, found by looking), file.
jp = "請求書　ﾃｽﾄ①㈱～\n"
write("text", "utf8", bytes([0]) + jp.encode())
write("text", "sjis", bytes([1]) + jp.encode("cp932"))
write("text", "eucjp", bytes([2]) + "請求書　テスト\n".encode("euc_jp"))
write("text", "found-sjis", bytes([5]) + example("delivery/delivery.tsv"))
write("text", "utf16le", bytes([5]) + jp.encode("utf-16"))
write("text", "utf16be", bytes([5]) + b"\xfe\xff" + jp.encode("utf-16-be"))
write("text", "bom8", bytes([0]) + b"\xef\xbb\xbf" + jp.encode())
write("text", "crlf-mixed", bytes([0]) + b"a\r\nb\nc\rd\r\n\r\n")
write("text", "cut-sjis", bytes([1]) + "ab表".encode("cp932")[:-1])
write("text", "controls", bytes([1]) + b"\x1a\x1c\x7f\t\x00x\n")
