#!/usr/bin/env bash
# Sets up, builds and runs the main job: the lnq tool on the embedded sample
# database (build/sample.db, created on first run). LNQ_NOW may fix the clock.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target lnq
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
run capital 1005.30
run pinyin 北京市海淀区
