#pragma once
// The number rules of the data grid's cells and footer, shared by the grid
// and the command-line tool.

#include "data/DataSet.h"
#include "grid/core/GridTypes.h"

#include <QString>

namespace lnq {

// A total or a numeric cell as the grid shows it: rounded to `dataWidth`
// significant digits (the double's full precision when 0; a value with more
// integer digits than that is written in exponent form) and written with
// `dataDec` decimals, as currency by the locale for dpCurrency, otherwise as
// a number with thousands separators.
QString FormatColumnTotal(double value, TLNQDataTypePro pro, int dataWidth, int dataDec);

// Keeps only "0"-"9" and "." (so thousands separators, currency signs and
// the minus sign go); an empty result is "0".
QString CleanNumberText(const QString& text);
// The value of a cleaned text; 0 when it still is no number ("1.2.3").
double CleanNumberValue(const QString& text);

// The sum of a field over the dataset's current view (what the user sees:
// sort and filter applied), nulls counted as 0, read by position without
// moving the cursor.
double SumVisible(const TDataSet& dataSet, int field);

} // namespace lnq
