#!/usr/bin/env python3
"""Hostile layout and data files through korvan-batch (run by hostile.sh).

Usage: hostile.py <build>/bin <source dir> <work dir>

Every run must end with status 0 or 1, with exactly the error lines the rules give for
its input, within a time and memory bound (a hang or a runaway allocation fails the
case, whatever it prints). Small inputs live in tests/hostile/; the large ones are
made in the work directory each time.
"""
import os
import random
import re
import struct
import subprocess
import sys
import time
import zlib

bin_dir, src, work = sys.argv[1:4]
batch = os.path.join(bin_dir, "korvan-batch")

# The bounds are safety limits against hangs and runaway memory, not speed goals.
# Under the address sanitizer everything costs several times more time and memory.
SANITIZED = "libasan" in subprocess.run(["ldd", batch], capture_output=True, text=True).stdout
SECONDS = 10 * (5 if SANITIZED else 1)
MEGABYTES = 500 * (4 if SANITIZED else 1)
DATA1, LAYOUT2 = "データ[1]", "レイアウト[2]"
runs = failed = 0


def path(name):
    return os.path.join(work, name)


def fixture(name):
    return os.path.join(src, "tests", "hostile", name)


def write(name, data):
    with open(path(name), "wb") as f:
        f.write(data if isinstance(data, bytes) else data.encode())
    return path(name)


# Runs a command from a fresh, small interpreter that prints its exit status and peak
# memory from wait4: a process's peak starts at its parent's size when it was started,
# and this script grows while it makes the large inputs.
MEASURE = """
import os, sys
pid = os.fork()
if pid == 0:
    os.execvp(sys.argv[1], sys.argv[1:])
_, status, usage = os.wait4(pid, 0)
print(os.waitstatus_to_exitcode(status), usage.ru_maxrss)
"""


def pages(pdf):
    info = subprocess.run(["pdfinfo", pdf], capture_output=True, text=True).stdout
    m = re.search(r"^Pages:\s+(\d+)", info, re.M)
    return int(m.group(1)) if m else 0


def shorten(lines):
    out = [line if len(line) < 120 else line[:100] + "...(%d chars)" % len(line)
           for line in lines[:6]]
    return out + (["... %d lines" % len(lines)] if len(lines) > 6 else [])


def case(name, args, status, lines=None, check=None):
    """One korvan-batch run, judged. `lines` is the exact list of error lines, or a
    function that says what is wrong with them (None when they are right); `check`
    looks at the PDF the same way."""
    global runs, failed
    runs += 1
    pdf = path("out-%d.pdf" % runs)
    start = time.monotonic()
    with open(path("stderr"), "wb") as err:
        out = subprocess.run([sys.executable, "-c", MEASURE, "timeout", "-k", "2", str(SECONDS),
                              batch, "--pdf", pdf] + args, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=err, text=True).stdout.split()
    seconds, got, megabytes = time.monotonic() - start, int(out[0]), int(out[1]) / 1024
    with open(path("stderr"), "rb") as err:
        got_lines = err.read().decode("utf-8", errors="replace").split("\n")
    if got_lines[-1] == "":
        got_lines.pop()
    problems = []
    if got == 124 or got < 0:
        problems.append("did not end within %d s" % SECONDS)
    elif got != status:
        problems.append("status %d, expected %d" % (got, status))
    if megabytes > MEGABYTES:
        problems.append("peak memory %.0f MB, bound %d MB" % (megabytes, MEGABYTES))
    if callable(lines):
        problems.append(lines(got_lines))
    elif lines is not None and got_lines != lines:
        problems.append("error lines %r, expected %r" % (shorten(got_lines), shorten(lines)))
    problems = [p for p in problems if p]
    if check and not problems:
        problems = [p for p in [check(pdf)] if p]
    summary = "%s (status %d, %.1f s, %.0f MB)" % (name, got, seconds, megabytes)
    failed += bool(problems)
    print(("FAIL " + summary + ": " + "; ".join(problems)) if problems else "ok   " + summary)


def located(message, where):
    """An error line: the message exactly, after whatever location stands before it
    (the run's prefix is not part of the rule), then korvan-batch's line that says
    where, which matches the regular expression `where`."""
    return lambda lines: None if len(lines) == 2 and re.fullmatch(
        r"(%s)? ?%s" % (re.escape(DATA1), re.escape(message)), lines[0]) and \
        re.fullmatch(where, lines[1]) else \
        "error lines %r, expected one ending in %r and where" % (shorten(lines), shorten([message]))


def page_end(n):
    return located("Page End data Count(%d) Error" % n,
                   r"korvan-batch: data line \d+ holds \d+ values?; page \d+ takes %d .*" % n)


def pages_show(expected):
    """Each page's text is exactly these values, in this order. Characters are placed
    one by one, so pdftotext puts blanks between some of them: blanks are not compared."""
    def check(pdf):
        text = subprocess.run(["pdftotext", "-raw", pdf, "-"], capture_output=True,
                              text=True).stdout if os.path.exists(pdf) else ""
        got = ["".join(page.split()) for page in text.split("\f")]
        if got and got[-1] == "":
            got.pop()
        want = ["".join(values) for values in expected]
        return None if got == want else "pages %r, expected %r" % (got, want)
    return check


def page_count(n):
    return lambda pdf: None if pages(pdf) == n else "%d pages, expected %d" % (pages(pdf), n)


def no_pdf(pdf):
    return "a PDF was written" if os.path.exists(pdf) else None


one_line = write("one-line.tsv", "x\n")
two_values = fixture("two-values.csv")

# ---- binary garbage ----

rng = random.Random(20241121)
garbage = b"#" + bytes(rng.randrange(256) for _ in range(64 * 1024))  # no byte-order mark


def unknown_keywords(lines):
    # Garbage holds no keyword: every record is one "unknown keyword" line, in order.
    numbers = []
    for line in lines:
        m = re.fullmatch(r"\((\d+)\) (.*) \2 \?", line, re.S)
        if not m:
            return "not an unknown-keyword line: %r" % line[:80]
        numbers.append(int(m.group(1)))
    if not numbers or numbers != sorted(set(numbers)) or numbers[-1] > garbage.count(b"\n") + 1:
        return "line numbers not rising within the file: %r" % numbers[:10]


case("garbage as layout", [one_line, write("garbage.csv", garbage)], 1, unknown_keywords, no_pdf)


def data_stream_model(data, per_page):
    """Pages of a print run over `data` and whether it ends in the page-end error, from
    the data file rules: lines end at LF (a CR before it goes), values are split at TAB,
    a page takes per_page values across lines and must end at the end of a line, the
    data running out ends the run after that page."""
    lines = data.split(b"\n")
    if lines[-1] == b"":
        lines.pop()
    counts = [(line[:-1] if line.endswith(b"\r") else line).count(b"\t") + 1 for line in lines]
    line, index, pages = 0, 0, 0
    while True:
        pages += 1
        ended = False
        for _ in range(per_page):
            if not ended:
                index += 1
                if index >= counts[line]:
                    line, index = line + 1, 0
                    ended = line == len(counts)
        if ended or index != 0:
            return pages, not ended


garbage_data = b"#" + bytes(rng.randrange(256) for _ in range(256 * 1024))
model_pages, model_error = data_stream_model(garbage_data, 2)
case("garbage as data", [write("garbage.tsv", garbage_data), two_values], int(model_error),
     page_end(2) if model_error else [], no_pdf if model_error else page_count(model_pages))

# ---- long lines and long values ----

# 8 million values in a line just under the reader's limit, of which a page takes 2; a
# line the reader skips after a good page stops the run, which writes nothing. Vertical
# and separated, most characters of a 15 MB value fall beyond the sheet; spread over
# 90 mm every one lands on it and is drawn, so there the value is 4 MB (up to 6 s).
big = path("big.tsv")
for name, data, layout, status, lines, check in [
    ("a 50 MB single-line data file", lambda: b"x\t" * (25 << 20), None, 1,
     [DATA1 + " line too long(" + big + ")"], no_pdf),
    ("a 16 MB line of 8 million values", lambda: b"a\t" * ((8 << 20) - 1) + b"a\n", None, 1,
     page_end(2), no_pdf),
    ("a line too long after the first page",
     lambda: b"a1\tb1\n" + b"y" * (17 << 20) + b"\na3\tb3\n", None, 1,
     [DATA1 + " line too long(" + big + ")"], no_pdf),
    ("a 15 MB value in DATA_V", lambda: b"0123456789" * ((15 << 20) // 10) + b"\n",
     "DATA_V,,,20,10,0,Z", 0, [], page_count(1)),
    ("a 15 MB value in DATA", lambda: b"0123456789" * ((15 << 20) // 10) + b"\n",
     "DATA,,,30,10,0,+", 0, [], page_count(1)),
    ("a 4 MB value in DATA_FIX_V", lambda: b"0123456789" * ((4 << 20) // 10) + b"\n",
     "DATA_FIX_V,,100,10,10,0,", 0, [], page_count(1)),
]:
    write("big.tsv", data())
    case(name, [big, write("big.csv", layout + "\n") if layout else two_values], status, lines, check)
    os.remove(big)

# ---- large layouts and counts ----

records = ["LINE_SET,L,0.2,0", "CHAR_SET,S,3,,"]
for i in range(99998):
    records.append("BOX,L,%d,%d,%d,%d" % (i % 190, i % 270, i % 190 + 5, i % 270 + 5) if i % 2
                   else "TEXT,T%d,S,,%d,%d,0," % (i, i % 190, i % 270))
styles = ["CHAR_SET,S%d,3,," % i for i in range(50000)] + ["TEXT,x,S49999,,10,10,0,"] * 50000
# OFFSET draws the whole form once per pair: a million pairs over ten boxes would draw
# ten million boxes a page.
offsets = "LINE_SET,L,0.2,0\nOFFSET," + "0,0," * 1000000 + "0,0\n" + "BOX,L,10,10,20,20\n" * 10
for name, layout, status, lines, check in [
    ("a layout of 100,000 records", write("100k.csv", "\n".join(records)), 0, [], page_count(1)),
    ("50,000 styles and 50,000 texts that use the last", write("styles.csv", "\n".join(styles)), 0,
     [], page_count(1)),
    ("100,000 unknown keywords", write("unknown.csv", "".join("NOPE,%d\n" % i for i in range(100000))),
     1, ["(%d) NOPE NOPE ?" % (i + 1) for i in range(100000)], no_pdf),
    # One box between the mark and the end; 2,000,000,000 copies would make 2,000,000,001.
    ("OCCURS 2,000,000,000", fixture("occurs-two-billion.csv"), 1,
     ["(2) OCCURS OCCURS count too large (2000000001)"], no_pdf),
    # Two groups add up past the largest int: 4,000,000,000 copies of one text.
    ("OCCURS adding up past 2^31", fixture("occurs-past-int.csv"), 1,
     ["(1) OCCURS OCCURS count too large (4000000001)"], no_pdf),
    ("OCCURS -5", fixture("occurs-negative.csv"), 0, [], pages_show([["ONCE"]])),
    ("OFFSET with a million pairs", write("offsets.csv", offsets), 1,
     ["(2) OFFSET OFFSET count too large (10000010)"], no_pdf),
]:
    case(name, [one_line, layout], status, lines, check)

# ---- numbers in every numeric field ----

# Each record has one numeric field set to the value under test and sane numbers
# elsewhere; "int" marks the fields that are whole numbers.
numeric_records = [("LINE_SET", "LINE_SET,L2,{},0", "float"), ("CHAR_SET", "CHAR_SET,S2,{},,", "float"),
                   ("OFFSET", "OFFSET,0,0,{},0", "float"), ("OFFSET", "OFFSET,0,0,0,{}", "float"),
                   ("OCCURS", "OCCURS,{},0,1", "int"), ("OCCURS", "OCCURS,1,{},1", "float"),
                   # The last repetition copies every item below once, shifted by the value.
                   ("OCCURS", "OCCURS,1,1,{}", "float")]


def each_field(kw, prefix, fields, default):
    for k in range(fields):
        numeric_records.append((kw, kw + "," + prefix + ",".join(
            "{}" if i == k else default for i in range(fields)), "float"))


for kw, fields in [("LINE", 4), ("BOX", 4), ("ARC", 6), ("X_LINE", 4), ("Y_LINE", 4)]:
    each_field(kw, "L,", fields, "10")
for k, kind in enumerate(["float", "float", "float", "int"]):  # spacing, x, y, count
    numbers = ",".join("{}" if i == k else v for i, v in enumerate(["0", "10", "10", "5"]))
    numeric_records += [("TEXT", "TEXT,T,S," + numbers + ",+", kind),
                        ("DATA", "DATA,S," + numbers + ",Z", kind)]
for kw, text, fields in [("CODE39", "ABC,", 7), ("JAN", "490123456789,", 4), ("IMAGE", ",", 4)]:
    each_field(kw, text, fields, "1")
numeric_records.append(("VERSION", "VERSION,{}", "int"))


def numbers_layout(value, kinds):
    """The layout with `value` in the fields of the given kinds, and the error lines
    the rules give for it: a number that does not convert is reported once for its
    record, whose group is dropped."""
    lines = ["LINE_SET,L,0.2,0", "CHAR_SET,S,3,,"]
    errors = []
    for kw, record, kind in numeric_records:
        lines.append(record.format(value if kind in kinds else "1"))
        if kind in kinds and (value == "NaN" or kind == "int"):
            errors.append('(%d) %s not numeric "%s"' % (len(lines), kw, value))
    # The line width and the character size under test, drawn (a style whose number
    # did not convert is not defined).
    for record, error in [("BOX,L2,10,10,20,20", "BOX Line name (L2) not found"),
                          ("ARC,L2,10,10,50,50,0,90", "ARC Line name (L2) not found"),
                          ("TEXT,W,S2,,10,10,0,", "TEXT Char name (S2) not found"),
                          ("DATA_FIX_V,S2,30,10,10,3,+", "DATA_FIX_V Char name (S2) not found")]:
        lines.append(record)
        if "float" in kinds and value == "NaN":
            errors.append("(%d) %s" % (len(lines), error))
    return "\n".join(lines) + "\n", errors


numbers_data = write("numbers.tsv", "99999999999\t1e308\tNaN\t-99999999999\n" * 3)
for value in ["NaN", "1e308", "99999999999", "-99999999999", "-1e308"]:
    for kinds, drawn in [(("int", "float"), ""), (("float",), ", drawn")]:
        if drawn and value == "NaN":
            continue
        # Drawn: only the fields that take such a number.
        text, errors = numbers_layout(value, kinds)
        case("%s in every %s field%s" % (value, "float" if drawn else "numeric", drawn),
             [numbers_data, write("numbers.csv", text)], 0 if drawn else 1, errors,
             None if drawn else no_pdf)

# The same numbers as data values: edited with separators, and as sizes of a text. A
# text 1e308 mm tall stands below any sheet and is not drawn; NaN is no size, so the
# whole value is the text.
sized = write("sized.csv", "CHAR_SET,S0,0,,\nDATA,,,10,10,14,+\nDATA,S0,,10,30,0,\n"
              "DATA,,,10,50,0,.\nDATA,S0,,10,70,0,\n")
case("the numbers as data values", [write("values.tsv", "99999999999\t1e308:big\tNaN\tNaN:x\n"),
                                    sized], 0, [], pages_show([["99,999,999,999", "NaN", "NaN:x"]]))

# The page numbers of the command line are numeric fields too; one value is a page.
for option, value, lines in [
        ("--start", "99999999999", ['開始[4] not numeric "99999999999"']),
        ("--start", "1e308", ['開始[4] not numeric "1e308"']),
        ("--end", "NaN", ['終了[5] not numeric "NaN"']),
        ("--start", "-5", ["開始[4] (-5) error"]),
        ("--start", "2000000000", [DATA1 + " Data Count Error",
                                   "korvan-batch: --start 2000000000, but the data holds 1 page"])]:
    case("%s %s" % (option, value), [option, value, one_line, two_values], 1, lines, no_pdf)

# ---- lines, quotes, line ends, encodings ----

for name, data, layout, check in [
    ("a layout whose last line ends in a backslash", one_line, "backslash-at-end.csv",
     pages_show([["KEPT"]])),
    ("a layout whose last line ends in a backslash and a line feed", one_line,
     "backslash-newline-at-end.csv", pages_show([["KEPT"]])),
    ("a data file whose last line ends in a backslash", fixture("backslash-at-end.tsv"),
     "two-values.csv", page_count(2)),
    ("unbalanced quotes", fixture("unbalanced-quotes.tsv"), "unbalanced-quotes.csv",
     pages_show([['"ab,c,,10,10,0,', 'QUOTED"MID', '"a', 'b"'],
                 ['"ab,c,,10,10,0,', 'QUOTED"MID', '"""', '"']])),
    ("CR LF data", fixture("crlf.tsv"), "two-values.csv",
     pages_show([["a1", "b1"], ["a2", "b2"], ["a3", "b3"]])),
    ("mixed line ends", fixture("mixed-line-ends.tsv"), "two-values.csv",
     pages_show([["a1", "b1"], ["a2", "b2"], ["a3", "b3"], ["a4", "b4"]])),
    ("a Shift-JIS character cut at the end of the files", fixture("cut-sjis.tsv"), "cut-sjis.csv",
     pages_show([["表", "請求", "書", "\ufffd"], ["表", "日本", "\ufffd", "\ufffd"]])),
]:
    case(name, [data, fixture(layout)], 0, [], check)

# ---- bar codes ----

digits = "".join(str(i % 10) for i in range(10000))
jan_error = "jan length 8 or 13 error (%s)" % digits
case("a JAN of 10,000 digits", [one_line, write("jan.csv", "JAN,%s,0.3,15,10,10\n" % digits)], 1,
     located(jan_error, "korvan-batch: the run stopped on page 1"))
case("a JAN of 10,000 digits from the data",
     [write("jan.tsv", digits + "\n"), write("jan-data.csv", "JAN,,0.3,15,10,10\n")], 1,
     located(jan_error, "korvan-batch: the run stopped on page 1, whose values begin on data line 1"))
case("a CODE39 of 10,000 characters",
     [one_line, write("code39.csv", "CODE39,%s,0.3,10,10,10,3,0,0\n" % ("A" * 10000))], 0, [],
     page_count(1))

# ---- images, directories, devices, pipes ----


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


# A black-and-white PNG of 30000 x 30000 pixels, all white: a few kilobytes that would
# be 3.6 GB once loaded.
pixels = zlib.compressobj(9)
body = b"".join(pixels.compress(b"\0" + b"\xff" * 3750) for _ in range(30000)) + pixels.flush()
bomb = write("bomb.png", b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 30000, 30000, 1, 0, 0, 0, 0))
             + chunk(b"IDAT", body) + chunk(b"IEND", b""))
directory = path("a-directory")
os.mkdir(directory)
images = write("images.csv", "IMAGE,%s,10,10,0,0\nIMAGE,,10,50,60,90\nIMAGE,,10,100,0,0\n"
               "IMAGE,,10,150,0,0\nTEXT,AFTER,,,10,200,0,\n" % fixture("text-file.png"))
case("images: a text file, a directory, a device, a 30000 x 30000 PNG of 100 KB",
     [write("images.tsv", "%s\t/dev/zero\t%s\n" % (directory, bomb)), images], 0, [],
     pages_show([["AFTER"]]))
# Files that are no regular files: a device that never ends, and a pipe that can be
# read only once (as a shell's <(command) gives it).
for name, args, lines in [
    ("a directory as the data file", [directory, two_values], [DATA1 + " open read error(%s)" % directory]),
    ("a directory as the layout file", [one_line, directory], [LAYOUT2 + " open read error(%s)" % directory]),
    ("/dev/zero as the data file", ["/dev/zero", two_values], [DATA1 + " line too long(/dev/zero)"]),
    ("/dev/zero as the layout file", [one_line, "/dev/zero"], [LAYOUT2 + " line too long(/dev/zero)"]),
    ("an empty data file", [write("empty.tsv", ""), two_values],
     [DATA1 + " Data Count Error", "korvan-batch: the data file holds no values"]),
]:
    case(name, args, 1, lines, no_pdf)
fifo = path("pipe.tsv")
os.mkfifo(fifo)
writer = subprocess.Popen(["sh", "-c", 'printf "a1\\tb1\\na2\\tb2\\n" > "$1"', "sh", fifo])
case("a pipe as the data file", [fifo, two_values], 0, [], pages_show([["a1", "b1"], ["a2", "b2"]]))
writer.kill()
writer.wait()

print("hostile: %d passed, %d failed" % (runs - failed, failed))
sys.exit(1 if failed or not runs else 0)
