#!/usr/bin/env python3
"""The invoice benchmark end to end, and the summary table of `make bench`.

    bench/run.py BUILD_DIR [--runs N] [--skip-50k]

korvan-batch --pdf and the floor (bench/floor_pdf: the same pages drawn by a plain
Qt program) print the invoice workload of 5,000 pages from bench/invoice/gen_data.py,
interleaved, N times each (default 5); the table gives the median pages per second of
each (whole process, start to exit) and their ratio, peak memory (ru_maxrss of the
child) at 5,000 and 50,000 pages, the time of `korvan VERSION VERSION` and of
`korvan-batch --check`, positioning at page 100,000 and the preview's redraw time.
The machine may be shared: the CPU time that other processes took during the timed
runs is reported with the table.
"""
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
LAYOUT = os.path.join(HERE, "invoice", "invoice.csv")
GENERATOR = os.path.join(HERE, "invoice", "gen_data.py")
HZ = os.sysconf("SC_CLK_TCK")


def busy_seconds():
    """CPU time of the whole machine so far (all cores, all processes)."""
    with open("/proc/stat") as f:
        fields = [int(v) for v in f.readline().split()[1:]]
    user, nice, system, _idle, _iowait, irq, softirq, steal = fields[:8]
    return (user + nice + system + irq + softirq + steal) / HZ


class Result:
    """One child process: wall time, its own CPU time and peak memory (wait4), its
    output, and how many cores the rest of the machine kept busy meanwhile."""

    @property
    def ok(self):
        return self.status == 0


def run(argv, env=None, cwd=None):
    """Runs argv to its end and returns its Result."""
    env = dict(os.environ, **(env or {}))
    env.setdefault("QT_QPA_PLATFORM", "offscreen")
    r = Result()
    busy0 = busy_seconds()
    t0 = time.perf_counter()
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        child = subprocess.Popen(argv, env=env, cwd=cwd, stdout=out, stderr=err)
        _, status, usage = os.wait4(child.pid, 0)
        r.wall = time.perf_counter() - t0
        child.returncode = os.waitstatus_to_exitcode(status)  # reaped here, not by Popen
        out.seek(0)
        err.seek(0)
        r.stdout = out.read().decode("utf-8", "replace")
        r.stderr = err.read().decode("utf-8", "replace")
    r.status = child.returncode
    r.maxrss_mb = usage.ru_maxrss / 1024.0
    r.cpu = usage.ru_utime + usage.ru_stime
    r.other_cores = max(0.0, (busy_seconds() - busy0 - r.cpu) / r.wall)
    return r


def need(r, what):
    if not r.ok:
        sys.stderr.write("%s failed (exit %s):\n%s\n" % (what, r.status, r.stderr[-2000:]))
        sys.exit(1)
    return r


def pdf_pages(path):
    try:
        info = subprocess.run(["pdfinfo", path], capture_output=True, text=True).stdout
    except FileNotFoundError:
        return None
    m = re.search(r"^Pages:\s+(\d+)", info, re.M)
    return int(m.group(1)) if m else None


def main(argv):
    if not argv:
        sys.stderr.write(__doc__)
        return 2
    bin_dir = os.path.join(os.path.abspath(argv[0]), "bin")
    runs = 5
    if "--runs" in argv:
        runs = int(argv[argv.index("--runs") + 1])
    skip_50k = "--skip-50k" in argv
    batch = os.path.join(bin_dir, "korvan-batch")
    floor = os.path.join(bin_dir, "floor_pdf")
    program = os.path.join(bin_dir, "korvan")

    work = tempfile.mkdtemp(prefix="korvan-bench-", dir="/tmp")
    try:
        load_before = os.getloadavg()
        data5 = os.path.join(work, "invoice_5000.tsv")
        subprocess.run([sys.executable, GENERATOR, "5000", data5], check=True)
        out_k = os.path.join(work, "korvan.pdf")
        out_f = os.path.join(work, "floor.pdf")

        # The floor must draw what the program draws: the first page, as pixels.
        png_k = os.path.join(work, "korvan-png")
        png_f = os.path.join(work, "floor.png")
        need(run([batch, "--png", png_k, "--dpi", "150", "--end", "1", data5, LAYOUT]),
             "korvan-batch --png")
        need(run([floor, "--png", "150", data5, png_f]), "floor_pdf --png")
        with open(os.path.join(png_k, "page-00001.png"), "rb") as a, open(png_f, "rb") as b:
            same_page = a.read() == b.read()

        # Program and floor interleaved, alternating which goes first.
        prog, flo = [], []
        for i in range(runs):
            order = [("k", [batch, "--pdf", out_k, data5, LAYOUT]), ("f", [floor, data5, out_f])]
            if i % 2 == 1:
                order.reverse()
            for name, cmd in order:
                r = need(run(cmd), name)
                (prog if name == "k" else flo).append(r)
        pages_k, pages_f = pdf_pages(out_k), pdf_pages(out_f)
        os.remove(out_k)
        os.remove(out_f)

        rss50_k = rss50_f = None
        if not skip_50k:
            data50 = os.path.join(work, "invoice_50000.tsv")
            subprocess.run([sys.executable, GENERATOR, "50000", data50], check=True)
            rss50_k = need(run([batch, "--pdf", out_k, data50, LAYOUT]), "korvan-batch 50k")
            os.remove(out_k)
            rss50_f = need(run([floor, data50, out_f]), "floor 50k")
            os.remove(out_f)
            os.remove(data50)

        version = [need(run([program, "VERSION", "VERSION"], cwd=work), "korvan VERSION")
                   for _ in range(runs)]
        check = [need(run([batch, "--check", LAYOUT]), "korvan-batch --check")
                 for _ in range(runs)]
        redraw_run = need(run([os.path.join(bin_dir, "bench_redraw")]), "bench_redraw")
        redraw = dict(line.split("=") for line in redraw_run.stdout.split())
        positioning = run([os.path.join(bin_dir, "bench_positioning")])
        m = re.search(r"page (\d+) in ([\d.]+) s", positioning.stdout)
        position_s = float(m.group(2)) if m else None
        position_rss = re.search(r"peak RSS\s+([\d.]+) MB", positioning.stdout)
        load_after = os.getloadavg()
    finally:
        shutil.rmtree(work, ignore_errors=True)

    def med(rs, key):
        return statistics.median(getattr(r, key) for r in rs)

    pps_k = 5000 / med(prog, "wall")
    pps_f = 5000 / med(flo, "wall")
    ratio = pps_k / pps_f
    rss5_k = max(r.maxrss_mb for r in prog)
    rss5_f = max(r.maxrss_mb for r in flo)
    others = statistics.mean(r.other_cores for r in prog + flo)
    version_ms = med(version, "wall") * 1000
    check_ms = med(check, "wall") * 1000

    def mark(ok):
        return "ok" if ok else "MISSED"

    rows = [
        ("invoice, 5,000 pages to PDF: korvan-batch", "%.0f pages/s" % pps_k,
         ">= 1,298", mark(pps_k >= 1298)),
        ("invoice, 5,000 pages to PDF: floor (plain Qt)", "%.0f pages/s" % pps_f, "", ""),
        ("ratio korvan / floor", "%.3f" % ratio, ">= 0.85", mark(ratio >= 0.85)),
        ("  runs (s) korvan", " ".join("%.2f" % r.wall for r in prog), "", ""),
        ("  runs (s) floor", " ".join("%.2f" % r.wall for r in flo), "", ""),
        # CPU time depends less on what else the machine is doing.
        ("  ratio on CPU time (user + system)",
         "%.3f (%.2f s / %.2f s)" % (med(flo, "cpu") / med(prog, "cpu"), med(prog, "cpu"),
                                     med(flo, "cpu")), "", ""),
        ("  floor draws the same page 1 (pixels)", "yes" if same_page else "NO", "", ""),
        ("  pages in the PDFs (korvan, floor)", "%s, %s" % (pages_k, pages_f), "5000",
         mark(pages_k == 5000 and pages_f == 5000)),
        ("peak memory, 5,000 pages: korvan (floor)", "%.1f MB (%.1f)" % (rss5_k, rss5_f),
         "< 60 MB", mark(rss5_k < 60)),
    ]
    if rss50_k:
        rows.append(("peak memory, 50,000 pages: korvan (floor)",
                     "%.1f MB (%.1f)" % (rss50_k.maxrss_mb, rss50_f.maxrss_mb), "< 60 MB",
                     mark(rss50_k.maxrss_mb < 60)))
        rows.append(("  50,000 pages: korvan, floor", "%.0f, %.0f pages/s" % (
            50000 / rss50_k.wall, 50000 / rss50_f.wall), "", ""))
    rows += [
        ("korvan VERSION VERSION", "%.1f ms" % version_ms, "< 50 ms", mark(version_ms < 50)),
        ("korvan-batch --check invoice.csv", "%.1f ms" % check_ms, "< 100 ms",
         mark(check_ms < 100)),
        ("positioning at page 100,000 (1 GB file)",
         "%.3f s (%s MB peak)" % (position_s, position_rss.group(1) if position_rss else "?")
         if position_s is not None else "failed", "< 1 s",
         mark(position_s is not None and position_s < 1 and positioning.ok)),
        ("preview redraw at zoom 1 (median / max)",
         "%s / %s ms" % (redraw["redraw_median"], redraw["redraw_max"]), "< 16 ms",
         mark(float(redraw["redraw_max"]) < 16)),
        ("preview page flip (median / max)",
         "%s / %s ms" % (redraw["flip_median"], redraw["flip_max"]), "< 16 ms",
         mark(float(redraw["flip_max"]) < 16)),
        ("preview redraw at zoom 2 (median / max)",
         "%s / %s ms" % (redraw["zoom2_median"], redraw["zoom2_max"]), "< 16 ms",
         mark(float(redraw["zoom2_max"]) < 16)),
    ]
    w0 = max(len(r[0]) for r in rows)
    w1 = max(len(r[1]) for r in rows)
    print()
    print("%-*s  %-*s  %-8s  %s" % (w0, "measure", w1, "result", "target", ""))
    print("-" * (w0 + w1 + 20))
    for r in rows:
        print("%-*s  %-*s  %-8s  %s" % (w0, r[0], w1, r[1], r[2], r[3]))
    print()
    print("machine: %d cores; load average %.2f before, %.2f after; other processes used "
          "%.2f cores on average during the timed runs" % (
              os.cpu_count(), load_before[0], load_after[0], others))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
