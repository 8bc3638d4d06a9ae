#!/usr/bin/env python3
"""Hostile layout and data files through korvan-batch.

Usage: hostile.py <build>/bin <source dir>

Every run must end with status 0 or 1, with exactly the error lines the rules give for
its input, within a time and memory bound (a hang or a runaway allocation fails the
case, whatever it prints). Small inputs live in tests/hostile/; the large ones are
made here, in a temporary directory, each time.
"""
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

bin_dir, src = sys.argv[1], sys.argv[2]
batch = os.path.join(bin_dir, "korvan-batch")
hostile = os.path.join(src, "tests", "hostile")
work = tempfile.mkdtemp(prefix="korvan-hostile-")

# The bounds are safety limits against hangs and runaway memory, not speed goals.
# Under the address sanitizer everything costs several times more time and memory.
ldd = subprocess.run(["ldd", batch], capture_output=True, text=True).stdout
SANITIZED = "libasan" in ldd
SECONDS = 10 * (5 if SANITIZED else 1)
MEGABYTES = 500 * (4 if SANITIZED else 1)

DATA1 = "データ[1]"
LAYOUT2 = "レイアウト[2]"

passed = 0
failed = 0


def path(*parts):
    return os.path.join(work, *parts)


def fixture(name):
    return os.path.join(hostile, name)


def write(name, data):
    p = path(name)
    with open(p, "wb") as f:
        f.write(data if isinstance(data, bytes) else data.encode())
    return p


# Runs a command under timeout(1) from a fresh, small interpreter and prints its exit
# status and peak memory. The peak is taken from wait4 in that interpreter, because a
# process's peak memory starts at its parent's size at the time it was started, and this
# script grows while it makes the large inputs.
MEASURE = """
import os, sys
pid = os.fork()
if pid == 0:
    os.execvp(sys.argv[1], sys.argv[1:])
_, status, usage = os.wait4(pid, 0)
print(os.waitstatus_to_exitcode(status), usage.ru_maxrss)
"""


class Run:
    """One korvan-batch run: status, standard error lines, seconds, peak memory (MB)."""

    def __init__(self, args):
        self.pdf = path("out-%d.pdf" % (passed + failed))
        if os.path.exists(self.pdf):
            os.remove(self.pdf)
        err = path("stderr")
        start = time.monotonic()
        with open(err, "wb") as e:
            out = subprocess.run([sys.executable, "-c", MEASURE, "timeout", "-k", "2",
                                  str(SECONDS), batch, "--pdf", self.pdf] + args,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=e,
                                 text=True).stdout.split()
        self.seconds = time.monotonic() - start
        self.status = int(out[0])
        self.megabytes = int(out[1]) / 1024
        with open(err, "rb") as e:
            text = e.read().decode("utf-8", errors="replace")
        self.lines = text.split("\n")
        if self.lines and self.lines[-1] == "":
            self.lines.pop()

    def pages(self):
        if not os.path.exists(self.pdf):
            return 0
        info = subprocess.run(["pdfinfo", self.pdf], capture_output=True, text=True).stdout
        m = re.search(r"^Pages:\s+(\d+)", info, re.M)
        return int(m.group(1)) if m else 0

    def text(self):
        """The text of each page, as pdftotext reads it."""
        if not os.path.exists(self.pdf):
            return []
        out = subprocess.run(["pdftotext", "-raw", self.pdf, "-"], capture_output=True,
                             text=True).stdout
        pages = out.split("\f")
        if pages and pages[-1].strip() == "":
            pages.pop()
        return pages


def case(name, run, status, lines=None, check=None):
    """Judges one run. `lines` is the exact list of error lines, or a function that
    says what is wrong with them (None when they are right); `check` looks at the rest
    the same way."""
    global passed, failed
    problems = []
    if run.status == 124 or run.status < 0:
        problems.append("did not end within %d s" % SECONDS)
    elif run.status != status:
        problems.append("status %d, expected %d" % (run.status, status))
    if run.megabytes > MEGABYTES:
        problems.append("peak memory %.0f MB, bound %d MB" % (run.megabytes, MEGABYTES))
    if callable(lines):
        wrong = lines(run.lines)
        if wrong:
            problems.append(wrong)
    elif lines is not None and run.lines != lines:
        problems.append("error lines %r, expected %r" % (shorten(run.lines), shorten(lines)))
    if check and not problems:
        wrong = check(run)
        if wrong:
            problems.append(wrong)
    summary = "%s (status %d, %.1f s, %.0f MB)" % (name, run.status, run.seconds, run.megabytes)
    if problems:
        failed += 1
        print("FAIL " + summary + ": " + "; ".join(problems))
    else:
        passed += 1
        print("ok   " + summary)


def shorten(lines):
    out = [line if len(line) < 120 else line[:100] + "...(%d chars)" % len(line)
           for line in lines[:6]]
    return out + (["... %d lines" % len(lines)] if len(lines) > 6 else [])


def page_end(n):
    """The page-end error: its message exactly, after whatever location stands before
    it (the run's prefix is not part of the rule), then korvan-batch's line that says
    which data line it lies in."""
    message = "Page End data Count(%d) Error" % n
    return lambda lines: None if len(lines) == 2 and re.fullmatch(
        r"(%s)? ?%s" % (re.escape(DATA1), re.escape(message)), lines[0]) and \
        re.match(r"korvan-batch: data line \d+ holds \d+ values?; page \d+ takes %d " % n,
                 lines[1]) else \
        "error lines %r, expected one ending in %r and where" % (shorten(lines), message)


def drawing_error(message):
    """An error found while drawing a page, after the location of the last error set."""
    return lambda lines: None if len(lines) == 1 and re.fullmatch(
        r"(%s)? ?%s" % (re.escape(DATA1), re.escape(message)), lines[0]) else \
        "error lines %r, expected one ending in %r" % (shorten(lines), shorten([message]))


def pages_show(expected):
    """Each page's text is exactly these values, in this order. Characters are placed
    one by one, so pdftotext puts blanks between some of them: blanks are not
    compared."""
    def check(run):
        got = ["".join(page.split()) for page in run.text()]
        want = ["".join(values) for values in expected]
        return None if got == want else "pages %r, expected %r" % (got, want)
    return check


def page_count(n):
    return lambda run: None if run.pages() == n else "%d pages, expected %d" % (run.pages(), n)


def no_pdf(run):
    return "a PDF was written" if run.pages() else None


one_line = write("one-line.tsv", "x\n")
two_values = fixture("two-values.csv")

# ---- binary garbage ----

rng = random.Random(20241121)
garbage = bytes(rng.randrange(256) for _ in range(64 * 1024))
garbage = b"#" + garbage  # no byte-order mark can start it


def unknown_keywords(lines):
    # Garbage holds no keyword: every record is one "unknown keyword" line, in order.
    numbers = []
    for line in lines:
        m = re.fullmatch(r"\((\d+)\) (.*) \2 \?", line, re.S)
        if not m:
            return "not an unknown-keyword line: %r" % line[:80]
        numbers.append(int(m.group(1)))
    physical = garbage.count(b"\n") + 1
    if not numbers or numbers != sorted(set(numbers)) or numbers[-1] > physical:
        return "line numbers not rising within the file: %r" % numbers[:10]
    return None


case("garbage as layout", Run([one_line, write("garbage.csv", garbage)]), 1,
     unknown_keywords, no_pdf)


def data_stream_model(data, per_page):
    """Pages and error of a print run over `data`, from the data file rules: lines end
    at LF (a CR before it goes), values are split at TAB, a page takes per_page values
    across lines and must end at the end of a line, the data running out ends the
    run after that page."""
    lines = data.split(b"\n")
    if lines[-1] == b"":
        lines.pop()
    lines = [line[:-1] if line.endswith(b"\r") else line for line in lines]
    counts = [line.count(b"\t") + 1 for line in lines]
    if not counts:
        return 0, [DATA1 + " Data Count Error"]
    line, index, pages = 0, 0, 0
    while True:
        pages += 1
        ended = False
        for _ in range(per_page):
            if ended:
                continue
            index += 1
            if index >= counts[line]:
                line, index = line + 1, 0
                ended = line == len(counts)
        if ended:
            return pages, []
        if index != 0:
            return pages, "Page End data Count(%d) Error" % per_page


garbage_data = b"#" + bytes(rng.randrange(256) for _ in range(256 * 1024))
model_pages, model_error = data_stream_model(garbage_data, 2)
case("garbage as data", Run([write("garbage.tsv", garbage_data), two_values]),
     1 if model_error else 0, page_end(2) if model_error else [],
     no_pdf if model_error else page_count(model_pages))

# ---- long lines ----

big = path("50mb.tsv")
with open(big, "wb") as f:
    f.write(b"x\t" * (25 * 1024 * 1024))
case("a 50 MB single-line data file", Run([big, two_values]), 1,
     [DATA1 + " line too long(" + big + ")"], no_pdf)
os.remove(big)

# Just under the reader's limit: millions of values in one line, of which a page takes 2.
tabs = path("tabs.tsv")
with open(tabs, "wb") as f:
    f.write(b"a\t" * (8 * 1024 * 1024 - 1) + b"a\n")
case("a 16 MB line of 8 million values", Run([tabs, two_values]), 1, page_end(2), no_pdf)
os.remove(tabs)

# A line the reader skips, after a good page: the run stops, and writes nothing.
skipped = path("skipped.tsv")
with open(skipped, "wb") as f:
    f.write(b"a1\tb1\n" + b"y" * (17 * 1024 * 1024) + b"\na3\tb3\n")
case("a line too long after the first page", Run([skipped, two_values]), 1,
     [DATA1 + " line too long(" + skipped + ")"], no_pdf)
os.remove(skipped)

# ---- large layouts ----

records = ["LINE_SET,L,0.2,0", "CHAR_SET,S,3,,"]
for i in range(99998):
    if i % 2:
        records.append("BOX,L,%d,%d,%d,%d" % (i % 190, i % 270, i % 190 + 5, i % 270 + 5))
    else:
        records.append("TEXT,T%d,S,,%d,%d,0," % (i, i % 190, i % 270))
case("a layout of 100,000 records", Run([one_line, write("100k.csv", "\n".join(records))]), 0,
     [], page_count(1))

styles = ["CHAR_SET,S%d,3,," % i for i in range(50000)]
styles += ["TEXT,x,S49999,,10,10,0," for _ in range(50000)]
case("50,000 styles and 50,000 texts that use the last",
     Run([one_line, write("styles.csv", "\n".join(styles))]), 0, [], page_count(1))

unknown = ["NOPE,%d" % i for i in range(100000)]
case("100,000 unknown keywords", Run([one_line, write("unknown.csv", "\n".join(unknown))]), 1,
     ["(%d) NOPE NOPE ?" % (i + 1) for i in range(100000)], no_pdf)

# ---- OCCURS ----

# One box between the mark and the end; 2,000,000,000 copies would make 2,000,000,001.
case("OCCURS 2,000,000,000", Run([one_line, fixture("occurs-two-billion.csv")]), 1,
     ["(2) OCCURS OCCURS count too large (2000000001)"], no_pdf)
# Two groups add up past the largest int: 4,000,000,000 copies of one text.
case("OCCURS adding up past 2^31", Run([one_line, fixture("occurs-past-int.csv")]), 1,
     ["(1) OCCURS OCCURS count too large (4000000001)"], no_pdf)
case("OCCURS -5", Run([one_line, fixture("occurs-negative.csv")]), 0, [],
     pages_show([["ONCE"]]))

# OFFSET draws the whole form once per pair: a million pairs over ten boxes would draw
# ten million boxes a page.
offset_bomb = "LINE_SET,L,0.2,0\nOFFSET," + "0,0," * 1000000 + "0,0\n" + "BOX,L,10,10,20,20\n" * 10
case("OFFSET with a million pairs", Run([one_line, write("offsets.csv", offset_bomb)]), 1,
     ["(2) OFFSET OFFSET count too large (10000010)"], no_pdf)

# ---- numbers in every numeric field ----

# Each record has one numeric field set to the value under test and sane numbers
# elsewhere; "int" marks the fields that are whole numbers.
numeric_records = [
    ("LINE_SET", "LINE_SET,L2,{},0", "float"),
    ("CHAR_SET", "CHAR_SET,S2,{},,", "float"),
    ("OFFSET", "OFFSET,0,0,{},0", "float"),
    ("OFFSET", "OFFSET,0,0,0,{}", "float"),
    ("OCCURS", "OCCURS,{},0,1", "int"),
    ("OCCURS", "OCCURS,1,{},1", "float"),
    # The last repetition copies every item below once, shifted by the value.
    ("OCCURS", "OCCURS,1,1,{}", "float"),
]
for kw, fields in [("LINE", 4), ("BOX", 4), ("ARC", 6), ("X_LINE", 4), ("Y_LINE", 4)]:
    for k in range(fields):
        numbers = ["10"] * fields
        numbers[k] = "{}"
        numeric_records.append((kw, kw + ",L," + ",".join(numbers), "float"))
for k, kind in enumerate(["float", "float", "float", "int"]):  # spacing, x, y, count
    numbers = ["0", "10", "10", "5"]
    numbers[k] = "{}"
    numeric_records.append(("TEXT", "TEXT,T,S," + ",".join(numbers) + ",+", kind))
    numeric_records.append(("DATA", "DATA,S," + ",".join(numbers) + ",Z", kind))
for kw, text, fields in [("CODE39", "ABC", 7), ("JAN", "490123456789", 4), ("IMAGE", "", 4)]:
    for k in range(fields):
        numbers = ["1"] * fields
        numbers[k] = "{}"
        numeric_records.append((kw, kw + "," + text + "," + ",".join(numbers), "float"))
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
    refused = "float" in kinds and value == "NaN"
    for record, error in [("BOX,L2,10,10,20,20", "BOX Line name (L2) not found"),
                          ("ARC,L2,10,10,50,50,0,90", "ARC Line name (L2) not found"),
                          ("TEXT,W,S2,,10,10,0,", "TEXT Char name (S2) not found"),
                          ("DATA_FIX_V,S2,30,10,10,3,+", "DATA_FIX_V Char name (S2) not found")]:
        lines.append(record)
        if refused:
            errors.append("(%d) %s" % (len(lines), error))
    return "\n".join(lines) + "\n", errors


numbers_data = write("numbers.tsv", "99999999999\t1e308\tNaN\t-99999999999\n" * 3)
for value in ["NaN", "1e308", "99999999999", "-99999999999", "-1e308"]:
    text, errors = numbers_layout(value, ("int", "float"))
    case("%s in every numeric field" % value,
         Run([numbers_data, write("numbers-%s.csv" % value, text)]), 1, errors, no_pdf)
for value in ["1e308", "99999999999", "-99999999999", "-1e308"]:
    # Drawn: only the fields that take such a number.
    text, errors = numbers_layout(value, ("float",))
    case("%s in every float field, drawn" % value,
         Run([numbers_data, write("numbers-drawn-%s.csv" % value, text)]), 0, errors)

# The same numbers as data values: edited with separators, and as sizes of a text. A
# text 1e308 mm tall stands below any sheet and is not drawn; NaN is no size, so the
# whole value is the text.
sized = write("sized.csv", "CHAR_SET,S0,0,,\nDATA,,,10,10,14,+\nDATA,S0,,10,30,0,\n"
              "DATA,,,10,50,0,.\nDATA,S0,,10,70,0,\n")
case("the numbers as data values", Run([write("numbers-values.tsv",
                                              "99999999999\t1e308:big\tNaN\tNaN:x\n"), sized]),
     0, [], pages_show([["99,999,999,999", "NaN", "NaN:x"]]))

# Long values. Vertical and separated, most characters of a 15 MB value fall beyond the
# sheet. Spread over 90 mm every character lands on it and is drawn, so there the
# value is 4 MB: the work grows with the value, up to 6 s for the longest line.
value = path("value.tsv")
for megabytes, layout in [(15, "DATA_V,,,20,10,0,Z"), (15, "DATA,,,30,10,0,+"),
                          (4, "DATA_FIX_V,,100,10,10,0,")]:
    with open(value, "wb") as f:
        f.write(b"0123456789" * (megabytes * 1024 * 1024 // 10) + b"\n")
    case("a %d MB value in %s" % (megabytes, layout.split(",")[0]),
         Run([value, write("value.csv", layout + "\n")]), 0, [], page_count(1))
os.remove(value)

# The page numbers of the command line are numeric fields too.
for option, value, line in [("--start", "99999999999", '開始[4] not numeric "99999999999"'),
                            ("--start", "1e308", '開始[4] not numeric "1e308"'),
                            ("--end", "NaN", '終了[5] not numeric "NaN"'),
                            ("--start", "-5", "開始[4] (-5) error"),
                            ("--start", "2000000000", DATA1 + " Data Count Error")]:
    # One value is a page, if a short one.
    where = ["korvan-batch: --start 2000000000, but the data holds 1 page"] if "Data" in line else []
    case("%s %s" % (option, value), Run([option, value, one_line, two_values]), 1,
         [line] + where, no_pdf)

# ---- lines, quotes, line ends, encodings ----

case("a layout whose last line ends in a backslash",
     Run([one_line, fixture("backslash-at-end.csv")]), 0, [], pages_show([["KEPT"]]))
case("a layout whose last line ends in a backslash and a line feed",
     Run([one_line, fixture("backslash-newline-at-end.csv")]), 0, [], pages_show([["KEPT"]]))
case("a data file whose last line ends in a backslash",
     Run([fixture("backslash-at-end.tsv"), two_values]), 0, [], page_count(2))
case("unbalanced quotes", Run([fixture("unbalanced-quotes.tsv"),
                               fixture("unbalanced-quotes.csv")]), 0, [],
     pages_show([['"ab,c,,10,10,0,', 'QUOTED"MID', '"a', 'b"'],
                 ['"ab,c,,10,10,0,', 'QUOTED"MID', '"""', '"']]))
case("CR LF data", Run([fixture("crlf.tsv"), two_values]), 0, [],
     pages_show([["a1", "b1"], ["a2", "b2"], ["a3", "b3"]]))
case("mixed line ends", Run([fixture("mixed-line-ends.tsv"), two_values]), 0, [],
     pages_show([["a1", "b1"], ["a2", "b2"], ["a3", "b3"], ["a4", "b4"]]))
case("a Shift-JIS character cut at the end of the files",
     Run([fixture("cut-sjis.tsv"), fixture("cut-sjis.csv")]), 0, [],
     pages_show([["表", "請求", "書", "\ufffd"], ["表", "日本", "\ufffd", "\ufffd"]]))

# ---- bar codes ----

digits = "".join(str(i % 10) for i in range(10000))
case("a JAN of 10,000 digits", Run([one_line, write("jan.csv", "JAN,%s,0.3,15,10,10\n" % digits)]),
     1, drawing_error("jan length 8 or 13 error (%s)" % digits))
case("a JAN of 10,000 digits from the data",
     Run([write("jan.tsv", digits + "\n"), write("jan-data.csv", "JAN,,0.3,15,10,10\n")]),
     1, drawing_error("jan length 8 or 13 error (%s)" % digits))
case("a CODE39 of 10,000 characters",
     Run([one_line, write("code39.csv", "CODE39,%s,0.3,10,10,10,3,0,0\n" % ("A" * 10000))]),
     0, [], page_count(1))

# ---- images and directories ----

def png_bomb(side):
    """A black-and-white PNG of side x side pixels, all white: a few kilobytes that
    would be side * side * 4 bytes once loaded."""
    import struct
    import zlib

    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body +
                struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF))
    row = b"\0" + b"\xff" * ((side + 7) // 8)
    pixels = zlib.compressobj(9)
    body = b"".join(pixels.compress(row) for _ in range(side)) + pixels.flush()
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", side, side, 1, 0, 0, 0, 0))
            + chunk(b"IDAT", body) + chunk(b"IEND", b""))


fake = fixture("text-file.png")
bomb = write("bomb.png", png_bomb(30000))
os.mkdir(path("a-directory"))
images = write("images.csv", "IMAGE,%s,10,10,0,0\nIMAGE,,10,50,60,90\nIMAGE,,10,100,0,0\n"
               "IMAGE,,10,150,0,0\nTEXT,AFTER,,,10,200,0,\n" % fake)
case("images: a text file, a directory, a device, a 30000 x 30000 PNG of 100 KB",
     Run([write("images.tsv", "%s\t/dev/zero\t%s\n" % (path("a-directory"), bomb)), images]), 0,
     [], pages_show([["AFTER"]]))
case("a directory as the data file", Run([path("a-directory"), two_values]), 1,
     [DATA1 + " open read error(" + path("a-directory") + ")"], no_pdf)
case("a directory as the layout file", Run([one_line, path("a-directory")]), 1,
     [LAYOUT2 + " open read error(" + path("a-directory") + ")"], no_pdf)
# Files that are no regular files: a device that never ends, and a pipe that can be
# read only once (as a shell's <(command) gives it).
case("/dev/zero as the data file", Run(["/dev/zero", two_values]), 1,
     [DATA1 + " line too long(/dev/zero)"], no_pdf)
case("/dev/zero as the layout file", Run([one_line, "/dev/zero"]), 1,
     [LAYOUT2 + " line too long(/dev/zero)"], no_pdf)
fifo = path("pipe.tsv")
os.mkfifo(fifo)
writer = subprocess.Popen(["sh", "-c", 'printf "a1\\tb1\\na2\\tb2\\n" > "$1"', "sh", fifo])
case("a pipe as the data file", Run([fifo, two_values]), 0, [],
     pages_show([["a1", "b1"], ["a2", "b2"]]))
writer.kill()
writer.wait()
case("an empty data file", Run([write("empty.tsv", ""), two_values]), 1,
     [DATA1 + " Data Count Error", "korvan-batch: the data file holds no values"], no_pdf)

shutil.rmtree(work)
print("hostile: %d passed, %d failed" % (passed, failed))
sys.exit(1 if failed else 0)
