#!/usr/bin/python3
# Writes the .xls fixtures of the workbook tests (Debian: python3-xlwt).
#   /usr/bin/python3 tests/data/workbooks/make_xls.py tests/data/workbooks
import datetime
import sys

import xlwt

out = sys.argv[1] if len(sys.argv) > 1 else "."

date_style = xlwt.easyxf(num_format_str="yyyy-mm-dd")
time_style = xlwt.easyxf(num_format_str="yyyy-mm-dd hh:mm:ss")
bold = xlwt.easyxf("font: bold on")

wb = xlwt.Workbook(encoding="utf-8")
ws = wb.add_sheet("客户")
header = ["客户编码", "客户名称", "地址", "省份", "城市", "电话", "日期01"]
for c, h in enumerate(header):
    ws.write(0, c, h, bold)
rows = [
    ["K001", "北京华信科技有限公司", "北京市海淀区中关村大街1号", "北京", "北京", 13800138000, datetime.date(2024, 1, 5)],
    ["K002", "上海东方贸易公司", "上海市浦东新区世纪大道100号", "上海", "上海", "021-55556666", datetime.datetime(2024, 2, 29, 13, 45, 30)],
    ["K003", "广州南方电子厂", "广州市天河区体育西路3号", "广东", "广州", "020-87654321", None],
]
for r, row in enumerate(rows, start=1):
    for c, v in enumerate(row):
        if v is None:
            continue
        if isinstance(v, datetime.datetime):
            ws.write(r, c, v, time_style)
        elif isinstance(v, datetime.date):
            ws.write(r, c, v, date_style)
        else:
            ws.write(r, c, v)
# Formatted but empty rows below the data: not part of the table.
for r in range(4, 9):
    for c in range(len(header)):
        ws.write(r, c, "", bold)

ws2 = wb.add_sheet("Sheet2")
ws2.write(0, 0, 1)
ws2.write(0, 1, "甲")
ws2.write(1, 0, 2)
ws2.write(1, 1, "乙")
ws2.write(1, 2, True)
wb.save(out + "/customers.xls")
