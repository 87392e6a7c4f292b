#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets (tests/fuzz/corpus/<name>/).

Run from the repository root: python3 tests/fuzz/seeds.py. Files the fuzzer
added later (regression inputs) are left alone; the seeds are rewritten.
Inputs the T-SQL translator still fails on live in tests/fuzz/crashes-tsql/.
"""
import os
import re
import struct
import zlib

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


def put(target, name, data):
    d = os.path.join(ROOT, target)
    os.makedirs(d, exist_ok=True)
    if isinstance(data, str):
        data = data.encode("utf-8")
    with open(os.path.join(d, "seed_" + name), "wb") as f:
        f.write(data)


# ---- T-SQL: the queries of the dialect's test corpus and statements on the
# fuzz target's own table Goods.
queries = []
corpus = os.path.join(os.path.dirname(ROOT), "..", "data", "tsql_corpus")
for fn in sorted(os.listdir(corpus)):
    text = open(os.path.join(corpus, fn), encoding="utf-8").read()
    for m in re.finditer(r"^query:\n(.*?)(?=^\w+:|^===|\Z)", text, re.S | re.M):
        q = m.group(1).strip()
        if q and len(q) < 400:
            queries.append(q)
queries = queries[::max(1, len(queries) // 40)][:40]
queries += [
    "SELECT TOP 2 vName, nQty * mPrice AS total FROM Goods WHERE vName LIKE N'螺%' ORDER BY ID DESC",
    "SELECT CAST('5%2' AS varchar(10)), REPLACE(vNote, '--', '/*') FROM Goods WHERE vNote <> 'x;y'",
    "UPDATE Goods SET vNote = 'it''s -- fine' WHERE ID = 1",
    "DELETE FROM Goods WHERE dDate < DATEADD(day, -30, GETDATE())",
    "SELECT ISNULL(nQty, 0) ^ 3, SQUARE(mPrice), CAST(nQty AS BIT) FROM Goods",
    "SELECT COUNT(*), SUM(mPrice) FROM Goods GROUP BY bFlag HAVING COUNT(*) > 1",
    "SELECT CONVERT(varchar(30), GETDATE(), 120), DATEDIFF(day, dDate, GETDATE()) FROM Goods",
    "SELECT * FROM Goods WHERE vName IN (N'垫圈', 'nut') AND NOT (nQty BETWEEN 1 AND 5)",
    "SELECT CASE WHEN nQty > 5 THEN 'many' ELSE 'few' END FROM Goods ORDER BY 1",
    "SELECT STUFF(vName, 1, 1, 'x'), REPLICATE('ab', 3), PATINDEX('%a%', vNote) FROM Goods",
    "SELECT TOP (50) PERCENT * FROM Goods",
    "INSERT INTO Goods (vName) SELECT vName FROM Goods WHERE 1 = 0",
]
for i, q in enumerate(queries):
    put("tsql", "%02d.sql" % i, q)

# ---- the dataset's filter text (fields of the target's dataset).
filters = [
    "Qty > 3", "Name = 'apple' and Qty > 3", "Name like 'a%'", "Name not like '%a_'",
    "Price >= 1.25 or Flag = True", "Qty is null", "not (Qty is not null)",
    "ID in (1, 3, 5)", "Day > #2024-01-02#", "[品名] = '螺丝0'", "\"Name\" <> 'O''Neil 梨'",
    "((ID = 1) or (ID = -2)) and not Flag", "Flag", "Qty = '4'", "Day < '2024-01-03 00:00:00'",
    " or ".join("ID = %d" % i for i in range(30)),
]
for i, f in enumerate(filters):
    put("filterexpr", "%02d.txt" % i, f)


# ---- saved-view streams.
def text(s):
    b = s.encode("gbk")
    return struct.pack("<i", len(b)) + b


def view(conds, match_all=True, version=3):
    head = bytes([version])
    if version >= 2:
        head += b"\x00"
    if version >= 3:
        head += b"\x01" if match_all else b"\x00"
    body = struct.pack("<i", len(conds))
    for piece, caption, desc in conds:
        body += text(piece) + text(caption) + text(desc)
    return head + body


put("viewstream", "v3_two", view([(" vName like '%螺%'", "品名", "品名 包含 螺"),
                                   (" nQty > 5", "数量", "数量 大于 5")]))
put("viewstream", "v3_or", view([(" bFlag = 1", "标志", "标志 等于 是")], match_all=False))
put("viewstream", "v3_empty", view([]))
put("viewstream", "v2_list", view([(" a = 1", "A", "A 等于 1")], version=2))
put("viewstream", "v1_list", view([(" a = 1", "A", "A 等于 1")], version=1))
put("viewstream", "v3_sql", b"\x03\x01\x01" + text("select * from Goods where vName = '螺丝'"))
put("viewstream", "truncated", view([(" a = 1", "A", "A 等于 1")])[:-3])
put("viewstream", "huge_count", b"\x03\x00\x01" + struct.pack("<i", 0x7FFFFFFF))
put("viewstream", "empty_conditions", b"\x03\x00\x01" + struct.pack("<i", 40) + b"\x00" * 480)


# ---- record-set files.
def rtext(s):
    b = s.encode("utf-8")
    return struct.pack("<I", len(b)) + b


# field types: 1 string, 3 integer, 5 boolean, 6 float, 7 currency, 11 date-time, blob as 15
def recordset(fields, rows):
    out = b"LNQRSET\x1a" + struct.pack("<I", 1) + struct.pack("<I", len(fields))
    for name, ftype in fields:
        out += rtext(name) + bytes([ftype]) + struct.pack("<ii", 50 if ftype == 1 else 0, 0)
        out += b"\x00" + rtext("Goods") + rtext(name)
    out += struct.pack("<q", len(rows))
    for c, (name, ftype) in enumerate(fields):
        bitmap = bytearray((len(rows) + 7) // 8)
        values = b""
        for r, row in enumerate(rows):
            v = row[c]
            if v is None:
                bitmap[r >> 3] |= 1 << (r & 7)
                continue
            if ftype == 1:
                values += rtext(v)
            elif ftype == 3:
                values += struct.pack("<q", v)
            elif ftype == 5:
                values += bytes([1 if v else 0])
            elif ftype in (6, 7, 11):
                values += struct.pack("<d", v)
        out += bytes(bitmap) + values
    return out + struct.pack("<I", zlib.crc32(out) & 0xFFFFFFFF)


goods = [("ID", 3), ("vName", 1), ("mPrice", 7), ("dDate", 11), ("bFlag", 5), ("nRate", 6)]
put("recordset", "goods", recordset(goods, [
    (1, "螺丝", 2.5, 45296.5, True, 0.125),
    (2, "nut ", 1.2, None, False, None),
    (3, None, None, 45300.0, None, -1e300),
]))
put("recordset", "no_rows", recordset(goods, []))
put("recordset", "all_null", recordset([("a", 1), ("b", 1)], [(None, None)] * 64))
put("recordset", "no_fields", recordset([], []))
bad = bytearray(recordset(goods, [(1, "x", 1.0, 1.0, True, 1.0)]))
bad[-1] ^= 0xFF
put("recordset", "bad_crc", bytes(bad))

# ---- length-prefixed stream records (first byte: the target's mode).
put("streams", "texts", b"\x00" + text("螺丝") + text("") + text("abc"))
put("streams", "list", b"\x02" + struct.pack("<i", 3) + text("a") + text("品名") + text("c"))
put("streams", "pipe_list", b"\x33" + struct.pack("<i", 2) + text("x") + text("y"))
put("streams", "wild_length", b"\x06" + struct.pack("<i", 0x7FFFFFF0) + b"abc")
put("streams", "negative", b"\x1e" + struct.pack("<i", -5) + text("z"))

# ---- string grid text files (GBK, BEL after each field, CR LF).
def grid(lines):
    return b"".join(b"\x07".join(f.encode("gbk") for f in line) + b"\x07\r\n" for line in lines)


put("stringgrid", "basic", grid([["vNo", "品名", "nQty", "TColor"], ["序", "名称", "数量", ""],
                                  ["1", "螺丝", "12", "clRed"], ["2", "垫圈", "3.5", ""]]) + b"==END==\r\n")
put("stringgrid", "unknown_columns", grid([["x", "品名"], ["a", "b"]]) + b"==END==\r\n")
put("stringgrid", "no_end", grid([["nQty"], ["abc"], ["1e5"]]))
put("stringgrid", "empty_line", grid([["vNo"], ["1"]]) + b"\r\n" + grid([["2"]]))
