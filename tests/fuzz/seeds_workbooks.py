#!/usr/bin/env python3
"""Writes the seed corpora of the workbook fuzz targets (corpus/xlsx, corpus/xls).

Run from the repository root: python3 tests/fuzz/seeds_workbooks.py. The .xls
seeds come from the test fixture (tests/data/workbooks/customers.xls, written
by make_xls.py there) and cut-down copies of it.
"""
import io
import os
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.join(HERE, "corpus")
NS = 'xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main"'
REL_NS = 'xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"'
WS_TYPE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet"


def put(target, name, data):
    d = os.path.join(ROOT, target)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, "seed_" + name), "wb") as f:
        f.write(data)


def xlsx(sheets, shared=None, styles=None, date1904=False, method=zipfile.ZIP_STORED):
    buf = io.BytesIO()
    with zipfile.ZipFile(buf, "w", method) as z:
        entries = "".join('<sheet name="%s" sheetId="%d" r:id="rId%d"/>' % (n, i + 1, i + 1)
                          for i, (n, _) in enumerate(sheets))
        z.writestr("xl/workbook.xml", '<workbook %s %s><workbookPr date1904="%d"/><sheets>%s</sheets></workbook>'
                   % (NS, REL_NS, 1 if date1904 else 0, entries))
        rels = "".join('<Relationship Id="rId%d" Type="%s" Target="worksheets/sheet%d.xml"/>' % (i + 1, WS_TYPE, i + 1)
                       for i in range(len(sheets)))
        z.writestr("xl/_rels/workbook.xml.rels",
                   '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">%s'
                   '</Relationships>' % rels)
        for i, (_, data) in enumerate(sheets):
            z.writestr("xl/worksheets/sheet%d.xml" % (i + 1),
                       "<worksheet %s><sheetData>%s</sheetData></worksheet>" % (NS, data))
        if shared is not None:
            z.writestr("xl/sharedStrings.xml", "<sst %s>%s</sst>" % (NS, shared))
        if styles is not None:
            z.writestr("xl/styles.xml", "<styleSheet %s>%s</styleSheet>" % (NS, styles))
    return buf.getvalue()


STYLES = ('<numFmts count="1"><numFmt numFmtId="176" formatCode="yyyy&quot;年&quot;m&quot;月&quot;d&quot;日&quot;"/>'
          '</numFmts><cellXfs count="3"><xf numFmtId="0"/><xf numFmtId="14"/><xf numFmtId="176"/></cellXfs>')
CUSTOMERS = ('<row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="s"><v>1</v></c><c r="C1" t="s"><v>2</v></c></row>'
             '<row r="2"><c r="A2" t="s"><v>3</v></c><c r="B2" t="inlineStr"><is><t>北京华信</t></is></c>'
             '<c r="C2" s="1"><v>45296</v></c></row>'
             '<row r="3"><c r="A3"><v>13800138000</v></c><c r="B3" t="b"><v>1</v></c><c r="C3" s="2"><v>45296.5</v></c>'
             '</row><row r="4"><c r="A4" t="e"><v>#N/A</v></c><c r="B4" t="str"><f>A1</f><v>x_x000D_y</v></c></row>'
             '<row r="9"><c r="A9" s="1"/></row>')
SHARED = ('<si><t>客户编码</t></si><si><r><t>客户</t></r><r><t>名称</t></r><rPh sb="0" eb="1"><t>カ</t></rPh></si>'
          '<si><t>日期01</t></si><si><t xml:space="preserve"> K001 </t></si>')

put("xlsx", "customers", xlsx([("客户", CUSTOMERS)], SHARED, STYLES))
put("xlsx", "customers_deflated", xlsx([("客户", CUSTOMERS)], SHARED, STYLES, method=zipfile.ZIP_DEFLATED))
put("xlsx", "two_sheets_1904", xlsx([("Sheet1", '<row><c><v>1</v></c><c t="inlineStr"><is><t>a</t></is></c></row>'),
                                     ("空", "")], None, STYLES, date1904=True))
put("xlsx", "no_refs", xlsx([("S", '<row><c><v>1</v></c></row><row><c><v>2</v></c><c><v>3</v></c></row>')]))

with open(os.path.join(HERE, "..", "data", "workbooks", "customers.xls"), "rb") as f:
    xls = f.read()
put("xls", "customers", xls)
put("xls", "truncated", xls[:len(xls) // 2])
put("xls", "header_only", xls[:512])
