#pragma once
// A small sample database for screen and listing tests: the full schema and
// every kind of row, built in a fraction of a second.

#include "data/ADOConnection.h"
#include "data/SampleDatabase.h"

namespace lnqtest {

inline void openSmallSample(lnq::TADOConnection& ado, const QString& file, int products = 10) {
    lnq::SampleDatabase::Options small;
    small.customers = 60;
    small.products = products;
    small.sales = 10;
    lnq::SampleDatabase::CreateSample(file, small);
    ado.SetConnectionString(file);
    ado.Open();
}

} // namespace lnqtest
