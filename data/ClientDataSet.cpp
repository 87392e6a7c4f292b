// TClientDataSet: an in-memory dataset with index definitions and a filter
// text.

#include "data/DataSet.h"
#include "data/DataSetFilterExpr.h"
#include "data/RecordStore.h"
#include "util/Exceptions.h"

namespace lnq {

struct TClientDataSet::Private {
    std::vector<TIndexDef> indexDefs;
    QString indexName;
    QString indexFieldNames;
    QString filterText;
    std::unique_ptr<TFilterExpr> filter;
    const TRecordStore* boundStore = nullptr;
};

TClientDataSet::TClientDataSet(QObject* owner) : TDataSet(owner), d(std::make_unique<Private>()) {}
TClientDataSet::~TClientDataSet() = default;

void TClientDataSet::CopyFrom(TDataSet& source) {
    source.CheckBrowseMode();
    LoadRowsFrom(source);
}

std::vector<TIndexDef>& TClientDataSet::IndexDefs() {
    return d->indexDefs;
}

namespace {

QStringList splitFields(const QString& fields) {
    QStringList out;
    for (const QString& f : fields.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString t = f.trimmed();
        if (!t.isEmpty()) out << t;
    }
    return out;
}

std::vector<TIndexDef>::iterator findIndex(std::vector<TIndexDef>& defs, const QString& name) {
    return std::find_if(defs.begin(), defs.end(),
                        [&](const TIndexDef& i) { return i.Name.compare(name, Qt::CaseInsensitive) == 0; });
}

} // namespace

void TClientDataSet::AddIndex(const QString& name, const QString& fields, TIndexOptions options,
                              const QString& descFields) {
    if (name.trimmed().isEmpty()) throw EDatabaseError(QStringLiteral("索引名不能为空"));
    if (splitFields(fields).isEmpty()) throw EDatabaseError(QStringLiteral("索引 '%1' 没有字段").arg(name));
    TIndexDef def{name, fields, options, descFields};
    auto it = findIndex(d->indexDefs, name);
    if (it != d->indexDefs.end())
        *it = def;
    else
        d->indexDefs.push_back(def);
    if (d->indexName.compare(name, Qt::CaseInsensitive) == 0) ApplyIndex();
}

void TClientDataSet::DeleteIndex(const QString& name) {
    auto it = findIndex(d->indexDefs, name);
    if (it == d->indexDefs.end()) throw EDatabaseError(QStringLiteral("索引 '%1' 不存在").arg(name));
    d->indexDefs.erase(it);
    if (d->indexName.compare(name, Qt::CaseInsensitive) == 0) {
        d->indexName.clear();
        ApplyIndex();
    }
}

QString TClientDataSet::IndexName() const {
    return d->indexName;
}

namespace {
// Applies a new index selection; one that cannot be applied (an unknown field)
// leaves the previous selection in force.
template <class Apply>
void selectIndex(QString& indexName, QString& indexFields, const QString& name, const QString& fields,
                 Apply apply) {
    const QString oldName = indexName;
    const QString oldFields = indexFields;
    indexName = name;
    indexFields = fields;
    try {
        apply();
    } catch (...) {
        indexName = oldName;
        indexFields = oldFields;
        throw;
    }
}
} // namespace

void TClientDataSet::SetIndexName(const QString& name) {
    if (!name.isEmpty() && findIndex(d->indexDefs, name) == d->indexDefs.end())
        throw EDatabaseError(QStringLiteral("索引 '%1' 不存在").arg(name));
    selectIndex(d->indexName, d->indexFieldNames, name, name.isEmpty() ? d->indexFieldNames : QString(),
                [this] { ApplyIndex(); });
}

QString TClientDataSet::IndexFieldNames() const {
    return d->indexFieldNames;
}

void TClientDataSet::SetIndexFieldNames(const QString& fields) {
    selectIndex(d->indexName, d->indexFieldNames, fields.isEmpty() ? d->indexName : QString(), fields,
                [this] { ApplyIndex(); });
}

void TClientDataSet::ApplyIndex() {
    QStringList fields;
    std::vector<bool> desc;
    std::vector<bool> ci;
    if (!d->indexName.isEmpty()) {
        auto it = findIndex(d->indexDefs, d->indexName);
        if (it == d->indexDefs.end())
            throw EDatabaseError(QStringLiteral("索引 '%1' 不存在").arg(d->indexName));
        fields = splitFields(it->Fields);
        const QStringList descList = splitFields(it->DescFields);
        for (const QString& f : fields) {
            const bool allDesc = it->Options.testFlag(TIndexOption::ixDescending);
            desc.push_back(allDesc || descList.contains(f, Qt::CaseInsensitive));
            ci.push_back(it->Options.testFlag(TIndexOption::ixCaseInsensitive));
        }
    } else if (!d->indexFieldNames.isEmpty()) {
        fields = splitFields(d->indexFieldNames);
        desc.assign(static_cast<size_t>(fields.size()), false);
        ci.assign(static_cast<size_t>(fields.size()), false);
    }
    for (const QString& f : fields)
        if (Active() && !FindField(f)) throw EDatabaseError(QStringLiteral("字段 '%1' 不存在").arg(f));
    SetOrdering(fields, desc, ci);
}

QString TClientDataSet::Filter() const {
    return d->filterText;
}

void TClientDataSet::SetFilter(const QString& filter) {
    std::unique_ptr<TFilterExpr> expr;
    if (!filter.trimmed().isEmpty()) expr = TFilterExpr::Parse(filter); // raises; nothing changed
    std::swap(d->filter, expr);
    const QString oldText = d->filterText;
    d->filterText = filter;
    if (!Filtered() || !Active()) return;
    try {
        Refilter();
    } catch (...) {
        // An unknown field or a literal of the wrong type: keep the old filter.
        std::swap(d->filter, expr);
        d->filterText = oldText;
        Refilter();
        throw;
    }
}

bool TClientDataSet::HasFilterText() const {
    return d->filter != nullptr;
}

void TClientDataSet::PrepareFilterText() {
    d->boundStore = nullptr;
    if (!d->filter) return;
    const std::shared_ptr<TRecordStore> s = Store();
    if (!s) return;
    d->filter->Bind(*s, [this](const QString& name) {
        const TField* f = FindField(name);
        return f ? f->Index() : -1;
    });
    d->boundStore = s.get();
}

bool TClientDataSet::FilterTextAccepts(qint64 record) const {
    if (!d->filter || !d->boundStore) return true;
    return d->filter->Evaluate(*d->boundStore, record);
}

} // namespace lnq
