#!/usr/bin/env bash
# Sets up, builds and runs the main job: the lnq tool (and the report library
# its PDF export loads) on the embedded sample database (build/sample.db,
# created on first run). LNQ_NOW may fix the clock.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target lnq KxCellDll
LNQ=build/lnq
DB=build/sample.db
run() {
  printf '\n$ lnq'; printf ' %q' "$@"; printf '\n'
  "$LNQ" "$@"
}
[ -s "$DB" ] || run init-db "$DB" --sample
run sql --db "$DB" "SELECT TOP 10 vCustomerNo AS 客户编码, vCustomerName AS 客户名称, vProvince AS 省份, dCreateDate FROM Cust_CustomersMain ORDER BY iCustomerNo DESC"
run sql --db "$DB" "select vProvince as 省份, count(*) as 客户数 from Cust_CustomersMain group by vProvince order by 2 desc"
run sql --db "$DB" "select dbo.GetFilePath(vFileName) as f1,dbo.GetFileName(vFileName) as f2,vDescription from Sys_FileBase where vExt='.CUS' and (bShare=1 or vOwner='admin' or charindex(',admin,',vAllowedUsers)>0) order by dbo.GetFilePath(vFileName)"
run view sql --db "$DB" --ext .CUS --table Cust_CustomersMain '常用视图\本月新增客户'
VIEW_SQL=$("$LNQ" view sql --db "$DB" --ext .CUS --table Cust_CustomersMain '常用视图\本月新增客户')
run sql --db "$DB" "$VIEW_SQL"
run view list --db "$DB" --ext .CUS --user admin
run grid --db "$DB" --sql "select vCustomerNo, vCustomerName, vProvince, mCreditLimit from Cust_CustomersMain" --filter 'vProvince,等于,北京' --sort mCreditLimit --desc --sum mCreditLimit --count vCustomerNo --limit 10
run export --db "$DB" --format xlsx --out build/customers.xlsx --title 客户列表 "SELECT TOP 200 * FROM Cust_CustomersMain ORDER BY iCustomerNo DESC"
run export --db "$DB" --format pdf --out build/customers.pdf --title 客户列表 "SELECT TOP 200 vCustomerNo, vCustomerName, vProvince, vCity FROM Cust_CustomersMain ORDER BY iCustomerNo DESC"
run backup --db "$DB" --to build/sample.bak
run check-db build/sample.bak
run capital 1005.30
run pinyin 北京市海淀区
