#pragma once
// Export of a grid's rows: the private copy of its dataset, the HTML text
// that goes to the clipboard (title table, two-level header, data in blocks
// of 200 rows), the spreadsheet file, and the data provider that serves the
// rows to the report library.
//
// The grid describes what it exports as a list of TExportColumn (field name
// and title caption, in column order, hidden columns included); everything
// else comes from the dataset.

#include "data/DataSet.h"
#include "report/ReportInterface.h"

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

namespace lnq {

struct TExportColumn {
    QString FieldName; // "" for a column without a field
    QString Title;     // caption; "parent.child" for a two-level header; sort marks allowed
    int Width = 64;    // screen pixels
};
using TExportColumns = std::vector<TExportColumn>;

// The columns of every field of a dataset, titled by titleOf (the field
// dictionary) or by field name, widths from the fields' display widths.
TExportColumns ExportColumnsOf(const TDataSet& dataSet,
                               const std::function<QString(const QString&)>& titleOf = {});

// progress(done, total) is called now and then; returning false cancels.
using TExportProgress = std::function<bool(qint64 done, qint64 total)>;

// A private copy of the dataset in its current order: an ADO dataset is
// cloned (shared records) with its Sort and record filter re-applied; a client dataset is
// copied (its index order and filter included). nullptr for a closed dataset
// or any other kind (printing and export then do nothing).
std::unique_ptr<TDataSet> PrepareClonedDataset(TDataSet& source);

// How export writes a value: currency and BCD with two decimals and
// thousands separators ("%0.2n"), booleans 是/否, everything else AsString.
QString ExportText(const TField& field);
TReportDataKind ReportKindOf(TFieldType type);

// The header table of the HTML text; ColumnCount grows by one per column.
QString BuidHtmlTableHead(const QStringList& captions, int& ColumnCount);
// "<table><tr><td align=center Colspan=N><b>决策支持中心-caption</b></td></tr></table>".
QString HtmlTitleTable(const QString& formCaption, int columnCount);
// The data tables: one call of paste(html, row) per block of 200 records
// (and the rest), row being where the block goes in the sheet:
// ((counter - 2) div 200) * 200 + 2. Values go in as their text, unescaped,
// as the header and title do. Only the first maxRows records when
// maxRows >= 0. Returns false when cancelled.
bool HtmlDataBlocks(TDataSet& data, const TExportColumns& columns,
                    const std::function<void(const QString& html, int row)>& paste,
                    const TExportProgress& progress = {}, qint64 maxRows = -1);
// Title, header and every data block (of the first maxRows records when
// maxRows >= 0) as one text (what the clipboard gets).
QString HtmlExportText(TDataSet& data, const TExportColumns& columns, const QString& formCaption,
                       qint64 maxRows = -1);

// Writes the rows of data (its current view, in order) to an .xlsx file:
// title row "决策支持中心-" + formCaption merged across the columns, the
// header, typed cells. Returns false when cancelled (the partial file is
// removed); EInOutError when the file cannot be written.
bool ExportToXlsx(TDataSet& data, const TExportColumns& columns, const QString& formCaption,
                  const QString& fileName, const TExportProgress& progress = {});

// The data provider over a dataset pair (TDataSetCanReportOutObject): detail
// rows from detail, master items from the current record of master (when
// given) plus those the host adds. Datasets are borrowed.
class TDataSetCanReportOutObject : public ICanReportOutEx {
public:
    TDataSetCanReportOutObject(TDataSet* master, TDataSet* detail, TExportColumns columns = {},
                               QString title = {});
    virtual ~TDataSetCanReportOutObject() = default;

    // Raised before data is handed over (once per report call, on the first
    // question the library asks).
    std::function<void(TDataSetCanReportOutObject& sender)> OnPreparePrintData;

    std::int32_t QueryInterface(const char* name, void** object) override;
    std::int32_t AddRef() override { return 1; }
    std::int32_t Release() override { return 1; }
    std::int32_t GetMasterDataCount() override;
    bool GetMasterData(std::int32_t index, char* buffer, std::int32_t size, std::int32_t* length) override;
    bool GetMasterDataValue(const char* name, char* buffer, std::int32_t size, std::int32_t* length) override;
    std::int32_t GetDetailDataCount() override;
    bool GetDetailData(std::int32_t index, char* buffer, std::int32_t size, std::int32_t* length) override;
    std::int32_t FindMainDataItem(const char* name) override;
    std::int32_t FindDetailDataItem(const char* name) override;
    bool GetDetailDataValue(std::int32_t index, char* buffer, std::int32_t size,
                            std::int32_t* length) override;
    bool FirstDetail() override;
    bool NextDetail() override;
    std::int32_t GetDetailItemCount() override;
    std::int32_t GetDetailWidth(std::int32_t index) override;
    void AddMasterData(const char* name, const char* value) override;
    bool IsDetailValid() override;
    void ClearMasterData() override;
    bool GetReportTitle(char* buffer, std::int32_t size, std::int32_t* length) override;
    bool GetDetailFieldName(std::int32_t index, char* buffer, std::int32_t size,
                            std::int32_t* length) override;
    std::int32_t GetDetailDataKind(std::int32_t index) override;

private:
    void prepare();
    TField* detailField(std::int32_t index) const;
    QStringList masterNames() const;

    TDataSet* m_master;
    TDataSet* m_detail;
    TExportColumns m_columns;
    QString m_title;
    std::vector<std::pair<QString, QString>> m_added;
    int m_row = 0;
    bool m_prepared = false;
};

} // namespace lnq
