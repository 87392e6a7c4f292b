#pragma once
// Recursive-descent parser of the supported SQL Server dialect. Expressions
// are parsed by precedence climbing with SQL Server's precedence (unary,
// multiplicative, additive/bitwise, comparison, NOT, AND, OR). Statements may
// be separated by ";" or simply follow each other, as in a SQL Server batch.
// Constructs outside the dialect raise ETsqlError naming them.

#include "data/TsqlAst.h"
#include "data/TsqlLexer.h"

#include <vector>

namespace lnq::tsql {

// Parses a whole batch (GO lines and ";" separate statements).
std::vector<StmtPtr> parseBatch(const QString& sql);

// Canonical datepart name ("year", "quarter", "month", "dayofyear", "day",
// "week", "weekday", "hour", "minute", "second", "millisecond") of a
// datepart or its abbreviation; empty when unknown.
QString canonicalDatePart(const QString& written);

// Object name "[dbo].[X]", "dbo.X" or "X" as the bare table name "X".
QString bareObjectName(const QString& written);

} // namespace lnq::tsql
