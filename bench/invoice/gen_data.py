#!/usr/bin/python3
"""Deterministic data for the invoice benchmark (bench/invoice/invoice.csv).

One line = one page, 42 TAB-separated values:
  cols 1..40 : 20 x (item name, amount)   name: Japanese text <= 20 chars,
                                          amount: plain integer (no separators)
  col  41    : EAN-13 data, 12 digits (the check digit is computed by the tool)
  col  42    : Code 39 data, 8 chars from [0-9A-Z]

Usage:
  gen_data.py N OUT.tsv               canonical data (raw integer amounts)
  gen_data.py --formatted N OUT.tsv   same values, amounts pre-formatted with
                                      thousands separators (for tools that
                                      cannot format numbers themselves)

The generator is a fixed-seed PRNG consumed page by page, so the first K lines
of any file are identical for every N >= K.
"""
import random
import sys

SEED = 20240601

# Vocabulary for item names (office supplies style; kanji, kana, digits).
WORDS = [
    "ボールペン", "黒", "赤", "青", "コピー用紙", "A4", "B5", "500枚",
    "クリアファイル", "ホッチキス", "針", "蛍光ペン", "黄", "緑", "付箋",
    "大", "小", "業務用", "封筒", "長形3号", "角形2号", "ノート", "罫線",
    "方眼", "印鑑", "朱肉", "電卓", "12桁", "消しゴム", "鉛筆", "HB",
    "2B", "シャープペン", "替芯", "0.5mm", "定規", "30cm", "はさみ",
    "のり", "スティック", "テープ", "透明", "段ボール", "箱", "梱包材",
    "トナー", "純正", "互換", "インク", "カートリッジ", "名刺", "100枚入",
    "請求書用紙", "領収書", "複写式", "伝票", "納品書", "10冊", "セット",
    "ファイル", "バインダー", "2穴", "保存箱", "乾電池", "単3", "単4",
    "延長コード", "3m", "マウス", "無線", "キーボード", "USBメモリ", "32GB",
]
CODE39_CHARS = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"
MAX_NAME = 20


def item_name(rng):
    parts = []
    length = 0
    target = rng.randint(4, MAX_NAME)
    while length < target:
        w = rng.choice(WORDS)
        if length + len(w) + (1 if parts else 0) > MAX_NAME:
            break
        if parts:
            parts.append("　")  # full-width space between words
            length += 1
        parts.append(w)
        length += len(w)
    if not parts:
        parts.append(rng.choice(WORDS)[:MAX_NAME])
    return "".join(parts)


def page(rng):
    vals = []
    for _ in range(20):
        vals.append(item_name(rng))
        # amounts 1 .. 99,999,999 with a spread of magnitudes
        vals.append(str(rng.randint(1, 10 ** rng.randint(3, 8) - 1)))
    vals.append("49" + "".join(rng.choice("0123456789") for _ in range(10)))
    vals.append("".join(rng.choice(CODE39_CHARS) for _ in range(8)))
    return vals


def main(argv):
    formatted = False
    if argv and argv[0] == "--formatted":
        formatted = True
        argv = argv[1:]
    if len(argv) != 2:
        sys.stderr.write(__doc__)
        return 2
    n = int(argv[0])
    rng = random.Random(SEED)
    with open(argv[1], "w", encoding="utf-8", newline="\n") as f:
        for _ in range(n):
            vals = page(rng)
            if formatted:
                for i in range(1, 40, 2):
                    vals[i] = "{:,}".format(int(vals[i]))
            f.write("\t".join(vals))
            f.write("\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
