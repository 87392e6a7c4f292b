#pragma once
// TSuperEditDBFm: the drop-down form of the lookup edit (TLNQSuperEdit). A
// frameless window under the edit holding the data grid of the matching rows
// and the add / clear / search / refresh buttons the edit asks for. The form
// never takes the keyboard focus: the edit keeps it and drives the list.
//
// The grid is the framework's data grid (TLNQDBGrid) over one dataset made
// once through IConnection::CreateDataset: it reads the rows it paints
// straight from the dataset and follows its cursor, so the edit moves in the
// list by moving the dataset, and a hundred thousand rows cost what the rows
// on screen cost. Layout files and the run-time menu are off: the drop-down
// is transient and its widths come from the edit's Column0Width..Column9Width.
//
// In place of the grid the form shows "无内容显示" when the list has no rows,
// and "无法打开数据集" (with the database's message beneath) when opening or
// filtering failed.
//
// TRefreshDataThread: the one worker thread of the framework. Each typed
// text starts one; it does no work of its own but hands a call back to the
// GUI thread and waits for it. On the GUI thread the call runs
// RefreshFilterDirect only when the text is still the form's latest typed
// text, so requests overtaken by further typing are dropped and all database
// work stays on the GUI thread, without locks.

#include <QPointer>
#include <QString>
#include <QThread>
#include <QWidget>
#include <memory>

class QLabel;
class QStackedWidget;
class QToolButton;

namespace lnq {

class IConnection;
class TADODataSet;
class TLNQDBGrid;
class TLNQSuperEdit;

class TSuperEditDBFm : public QWidget {
    Q_OBJECT
public:
    static QString EmptyText() { return QStringLiteral("无内容显示"); }
    static QString OpenFailedText() { return QStringLiteral("无法打开数据集"); }

    // A child window of the edit (its settings are read from it).
    explicit TSuperEditDBFm(TLNQSuperEdit& edit);
    ~TSuperEditDBFm() override;

    TLNQSuperEdit& Edit() const { return m_edit; }
    TLNQDBGrid* Grid() const { return m_grid; }
    // The list's dataset, made on first use (null without a connection).
    TADODataSet* DataSet() const { return m_dataSet.get(); }

    // The edit's interface (ConnectionEx, else the wrapped Connection).
    std::shared_ptr<IConnection> GetConnection();
    // Fills the dataset with BuildSQL(SQLs) when SQLs is set and the dataset
    // is not open. False when that failed (the form shows why).
    bool OpenData();
    // The authority rule over sql (the edit's AutoCheckAuthority and the
    // class-level authority function).
    QString BuildSQL(const QString& sql) const;
    // Filters the list by the typed text (field chosen by the text's bytes).
    void RefreshFilterDirect(const QString& text);
    // The same, at once.
    void RefreshFilter(const QString& text);
    // The typed text the form waits for; a deferred refresh of any other text
    // is dropped.
    QString LatestText() const { return m_latestText; }
    // Records text as the latest and starts a TRefreshDataThread for it.
    void RequestRefresh(const QString& text);
    // What a refresh thread's call does on the GUI thread.
    void RefreshIfLatest(const QString& text);

    // Re-runs the current filter (or the base select when there is none).
    void RefreshData();
    // The SQL text last given to FillDataset, and how many fills ran.
    QString LastSQL() const { return m_lastSql; }
    int FillCount() const { return m_fillCount; }
    // The last failure's database message (empty after a good fill).
    QString LastError() const { return m_lastError; }

    // Places the form under the edit at the edit's DropDownWidth / Height,
    // applies the button settings and shows it.
    void Popup();
    // Shows the grid or the empty / failure text for the dataset's state.
    void RedrawImage();
    // The text shown instead of the grid, or empty while the grid shows.
    QString ShownText() const;
    // Applies Column0Width..Column9Width to the grid's columns.
    void ApplyColumnWidths();
    // Forgets the dataset (the connection changed); the next use makes one.
    void ResetDataSet();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool Fill(const QString& sql);
    void EnsureDataSet();
    void UpdateButtons();

    TLNQSuperEdit& m_edit;
    std::shared_ptr<IConnection> m_datasetConnection; // the interface that made m_dataSet
    std::unique_ptr<TADODataSet> m_dataSet;
    QStackedWidget* m_stack = nullptr;
    TLNQDBGrid* m_grid = nullptr;
    QLabel* m_message = nullptr;
    QToolButton* m_addButton = nullptr;
    QToolButton* m_clearButton = nullptr;
    QToolButton* m_searchButton = nullptr;
    QToolButton* m_refreshButton = nullptr;
    QString m_latestText;
    QString m_filterText; // text of the filter now applied ("" for the base select)
    QString m_lastSql;
    QString m_lastError;
    bool m_failed = false;
    int m_fillCount = 0;
};

class TRefreshDataThread : public QThread {
    Q_OBJECT
public:
    // Makes the thread for form and text; it runs at idle priority and
    // deletes itself when it ends. A suspended thread waits for Resume(),
    // which must then come. The returned pointer does not own the thread.
    static TRefreshDataThread* Create(TSuperEditDBFm& form, const QString& text,
                                      bool createSuspended = false);
    void Resume();
    QString Text() const { return m_text; }
    // Threads made and not yet ended, process-wide.
    static int Running();

protected:
    void run() override;

private:
    TRefreshDataThread(TSuperEditDBFm& form, const QString& text);
    ~TRefreshDataThread() override;

    QPointer<TSuperEditDBFm> m_form; // read on the GUI thread only
    const QString m_text;
};

} // namespace lnq
