#pragma once
// Field definitions for datasets that tests build by hand.

#include "data/DataSet.h"

namespace lnqtest {

// A data field of the given type; baseTable also names the column's origin
// (as a query on that table would report it).
inline lnq::TFieldDef fieldDef(const QString& name, lnq::TFieldType type, int size = 0,
                               const QString& baseTable = {}) {
    lnq::TFieldDef d;
    d.Name = name;
    d.DataType = type;
    d.Size = size;
    if (!baseTable.isEmpty()) {
        d.BaseTable = baseTable;
        d.BaseColumn = name;
    }
    return d;
}

} // namespace lnqtest
