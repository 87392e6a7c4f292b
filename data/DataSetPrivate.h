#pragma once
// Internal to the data layer: the state of a TDataSet. Not for use outside
// data/.

#include "data/DataSet.h"
#include "data/RecordStore.h"

#include <QHash>
#include <array>

namespace lnq {

class TStoreBuilder;

struct TDataSet::Private {
    explicit Private(TDataSet* owner);
    ~Private();

    TDataSet* q;

    // Fields of the open (or last opened) record set: the store's columns up
    // to its fieldCount, the hidden ones left out.
    TFieldDefs defs;
    std::vector<std::unique_ptr<TField>> fields;
    QStringList fieldNames; // names of the field objects, to match them on a reload
    QHash<QString, int> exactNames;
    QHash<QString, int> foldedNames; // case-folded name -> index
    // Callers look the same name up for every record: a few recent names,
    // compared by their (shared) character data first, skip the hashing.
    struct NameCacheEntry {
        QString name;
        int index = -1;
    };
    mutable std::array<NameCacheEntry, 8> nameCache;
    mutable unsigned nameCacheNext = 0;

    std::shared_ptr<TRecordStore> store;
    bool active = false;
    TDataSetState state = TDataSetState::dsInactive;

    // The view: positions -> records. While viewIdentity is true the view is
    // the store's identity order and the vector is unused.
    bool viewIdentity = true;
    std::vector<qint32> view;
    int cur = -1;
    bool bof = true;
    bool eof = true;

    // Filter passes and calculations read this record instead of the cursor's.
    bool evaluating = false;
    qint64 evalRecord = -1;

    // Pending edit: a one-row store with the same columns.
    std::unique_ptr<TRecordStore> editBuf;
    quint64 editSerial = 0;      // counts edits, so a late blob stream cannot write into a newer one
    std::vector<quint8> changed; // per store column (hidden ones included)
    qint64 editRecord = -1;
    qint64 insertBefore = -1;
    bool appending = false;
    bool modified = false;

    bool filtered = false;
    FilterRecordFn onFilter;
    FilterRecordsFn onFilterRecords;

    struct SortKey {
        int col = 0;
        bool desc = false;
        bool ci = false;
    };
    QStringList orderFields;
    std::vector<bool> orderDesc;
    std::vector<bool> orderCi;
    std::vector<SortKey> keys;

    int disable = 0;
    bool pendingChange = false;
    TDataSetState stateAtDisable = TDataSetState::dsInactive;

    std::shared_ptr<TRecordStore> loading;
    std::unique_ptr<TStoreBuilder> builder;
    std::weak_ptr<TRecordStore> reloadFrom;

    TFieldDefs calcDefs;
    CalcFieldsFn onCalc;

    enum class StoreEvent { Modified, Inserted, Deleted };

    int viewSize() const {
        if (!store) return 0;
        return viewIdentity ? static_cast<int>(store->rows) : static_cast<int>(view.size());
    }
    qint64 recAt(int pos) const { return viewIdentity ? pos : view[static_cast<size_t>(pos)]; }

    // The column and row a field reads: the record under evaluation, the
    // edit buffer, or the cursor's record (nullptr when there is none).
    const TStoreColumn* readColumn(int field, qint64& r) const {
        if (evaluating) { // no record yet: a records filter that has not called ReadRecord
            r = evalRecord;
            return r >= 0 ? &store->cols[static_cast<size_t>(field)] : nullptr;
        }
        if (editBuf) {
            r = 0;
            return &editBuf->cols[static_cast<size_t>(field)];
        }
        if (!store || cur < 0) return nullptr;
        r = recAt(cur);
        return &store->cols[static_cast<size_t>(field)];
    }
    int indexOfName(const QString& name) const;
    void setupFields();
    void attach(const std::shared_ptr<TRecordStore>& s);
    void detach();
    void install(const std::shared_ptr<TRecordStore>& s);
    void installAndAnnounce(const std::shared_ptr<TRecordStore>& s);
    void checkActive() const;

    bool filterActive() const;
    bool accepts(qint64 record);
    // Narrows v (candidates in view order) to the records every filter accepts.
    void filterRecords(std::vector<qint32>& v);
    void resolveKeys();
    bool lessRecord(qint64 a, qint64 b) const;
    void sortRecords(std::vector<qint32>& v) const;
    void sortByKey(std::vector<qint32>& v, const SortKey& k) const;
    void rebuildView();
    void materializeView();
    int positionOf(qint64 record) const;
    int sortedInsertPos(qint64 record) const;
    void setCursorFirst();
    void placeCursor(int pos);
    int findRecord(const QString& keyFields, const QVariantList& keyValues, TLocateOptions options) const;

    void calcRecord(qint64 record);
    void calcAll();

    TStoreColumn& writeColumn(int field, qint64& r);
    void afterWrite(int field);
    TUpdateRequest makeRequest(TUpdateKind kind, qint64 record) const;
    int rowIdColumn() const; // store column of the row identity, -1 when none
    void storeResult(const TUpdateResult& res, qint64 record);
    static QString displayText(const TStoreColumn& c, qint64 r, const TFieldDef& def, const QString& format);

    void onStoreEvent(StoreEvent ev, qint64 record);
    void notifySharers(StoreEvent ev, qint64 record);

    void emitChanged();
    void emitScrolled();
    void emitState();
    void emitRecordChanged(int row);
    void emitRowsInserted(int first, int count);
    void emitRowsRemoved(int first, int count);
};

} // namespace lnq
