#include "grid/data/LayoutFile.h"

#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_streams.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace lnq {

namespace {

const QString kNotVisible = QStringLiteral("NOTVISIBLE");

[[noreturn]] void readError() {
    throw EReadError(QStringLiteral("流读取错误"));
}

// Bytes the stream can still deliver; -1 when it cannot tell (sequential).
qint64 remainingBytes(const QIODevice& stream) {
    if (stream.isSequential()) return -1;
    return qMax<qint64>(stream.size() - stream.pos(), 0);
}

qint32 readInt(QIODevice& stream) {
    qint32 v = 0;
    if (!TUtils_Streams::ReadInt32(stream, v)) readError();
    return v;
}

QString readText(QIODevice& stream) {
    const qint32 length = readInt(stream);
    if (length < 0) readError();
    const qint64 left = remainingBytes(stream);
    if (left >= 0 && length > left) readError();
    // Read in chunks: on a sequential stream memory grows with what arrives.
    QByteArray got;
    if (length > 0) {
        got = stream.read(qMin<qint64>(length, 64 * 1024));
        while (got.size() < length) {
            const QByteArray more = stream.read(qMin<qint64>(length - got.size(), 64 * 1024));
            if (more.isEmpty()) break;
            got += more;
        }
        if (got.size() != length) readError();
    }
    return Gbk::decode(got);
}

int lastColumnOf(const TLayoutColumns& columns, const QString& fieldName) {
    for (int i = columns.ColumnCount() - 1; i >= 0; --i)
        if (columns.FieldName(i) == fieldName) return i;
    return -1;
}

} // namespace

QString StripSortMarks(const QString& caption) {
    QString s = caption;
    s.remove(QChar(0x2191));
    s.remove(QChar(0x2193));
    return s;
}

TLayoutEntries ReadLayout(QIODevice& stream) {
    const qint32 count = readInt(stream);
    if (count < 0) readError();
    // Each record takes at least three length/width fields.
    const qint64 left = remainingBytes(stream);
    if (left >= 0 && qint64(count) * 12 > left) readError();
    TLayoutEntries entries;
    if (left >= 0) entries.reserve(count);
    for (qint32 i = 0; i < count; ++i) {
        TLayoutEntry e;
        e.FieldName = readText(stream);
        e.Width = readInt(stream);
        e.Title = readText(stream);
        entries.push_back(std::move(e));
    }
    return entries;
}

void WriteLayout(QIODevice& stream, const TLayoutEntries& entries) {
    TUtils_Streams::WriteInt32(stream, qint32(entries.size()));
    for (const TLayoutEntry& e : entries) {
        TUtils_Streams::SaveStringToStream(stream, e.FieldName);
        TUtils_Streams::WriteInt32(stream, e.Width);
        TUtils_Streams::SaveStringToStream(stream, StripSortMarks(e.Title));
    }
}

TLayoutEntries LoadLayoutFile(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw EInOutError(QStringLiteral("无法打开文件 %1：%2").arg(fileName, file.errorString()));
    return ReadLayout(file);
}

void SaveLayoutFile(const QString& fileName, const TLayoutEntries& entries) {
    QBuffer bytes;
    bytes.open(QIODevice::WriteOnly);
    WriteLayout(bytes, entries);
    // Grids save at every reload of their dataset; a layout that did not
    // change is not written (and synced) again.
    QFile current(fileName);
    if (current.size() == bytes.size() && current.open(QIODevice::ReadOnly) &&
        current.readAll() == bytes.data())
        return;
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        throw EInOutError(QStringLiteral("无法创建文件 %1：%2").arg(fileName, file.errorString()));
    if (file.write(bytes.data()) != bytes.size() || !file.commit())
        throw EInOutError(QStringLiteral("无法写入文件 %1：%2").arg(fileName, file.errorString()));
}

QString GridFileName(const QString& folder, const QString& extension, const QString& fileNameProperty,
                     const QString& ownerName, const QString& gridName) {
    const QString dir = QCoreApplication::applicationDirPath() + QLatin1Char('/') + folder;
    QDir().mkpath(dir);
    QString name;
    if (!fileNameProperty.isEmpty()) {
        // Stored names may carry folders written with either separator.
        const qsizetype cut = qMax(fileNameProperty.lastIndexOf(QLatin1Char('\\')),
                                   fileNameProperty.lastIndexOf(QLatin1Char('/')));
        name = fileNameProperty.mid(cut + 1) + extension;
    } else {
        name = QFileInfo(QCoreApplication::applicationFilePath()).fileName() + QLatin1Char('.') + ownerName +
               QLatin1Char('.') + gridName + extension;
    }
    return dir + QLatin1Char('/') + name;
}

QString LayoutFileName(const QString& formatFileName, const QString& ownerName, const QString& gridName) {
    return GridFileName(QStringLiteral("KXFormat"), QStringLiteral(".FMT"), formatFileName, ownerName,
                        gridName);
}

bool LoadFormat(TLayoutColumns& columns, const TLayoutContext& ctx) {
    if (ctx.Designing || !ctx.HasDataSet || !ctx.DataSetOpen) return false;
    auto titleOf = [&](const QString& name) { return ctx.TitleOf ? ctx.TitleOf(name) : name; };
    if (QFileInfo::exists(ctx.FileName)) {
        const TLayoutEntries entries = LoadLayoutFile(ctx.FileName);
        columns.BeginLayout();
        columns.ClearColumns();
        for (const TLayoutEntry& e : entries) {
            const int i = columns.ColumnCount();
            columns.InsertColumn(i, e.FieldName);
            columns.SetWidth(i, e.Width);
            const QString title = StripSortMarks(e.Title);
            QString caption;
            if (title != e.FieldName)
                caption = title;
            else
                caption = ctx.DataSetOpen ? titleOf(e.FieldName) : title;
            columns.SetTitle(i, caption);
            if (caption.compare(kNotVisible, Qt::CaseInsensitive) == 0) columns.SetWidth(i, 0);
        }
        columns.InitDBGrid();
        columns.EndLayout();
        return true;
    }
    columns.BeginLayout();
    columns.InitDBGrid();
    for (int i = columns.ColumnCount() - 1; i >= 0; --i) {
        const QString title = titleOf(columns.FieldName(i));
        if (title.toUpper() != kNotVisible) {
            columns.SetTitle(i, title);
            columns.SetDefaultWidth(i, qMin(columns.DefaultWidth(i), 128));
        } else {
            columns.DeleteColumn(i);
        }
    }
    columns.InitDBGrid();
    columns.EndLayout();
    return true;
}

TLayoutEntries LayoutEntriesOf(const TLayoutColumns& columns, const TLayoutContext& ctx) {
    TLayoutEntries entries;
    entries.reserve(columns.ColumnCount());
    for (int i = 0; i < columns.ColumnCount(); ++i) {
        TLayoutEntry e;
        e.FieldName = columns.FieldName(i);
        e.Width = columns.Width(i);
        e.Title = StripSortMarks(columns.Title(i));
        if (e.Title == e.FieldName && ctx.TitleOf) e.Title = ctx.TitleOf(e.FieldName);
        entries.push_back(std::move(e));
    }
    return entries;
}

bool SaveFormat(TLayoutColumns& columns, const TLayoutContext& ctx, bool requireOpen) {
    if (ctx.Designing || !ctx.HasDataSet) return false;
    if (requireOpen && !ctx.DataSetOpen) return false;
    if (columns.ColumnCount() == 0 || columns.FieldName(0).isEmpty()) return false;
    SaveLayoutFile(ctx.FileName, LayoutEntriesOf(columns, ctx));
    return true;
}

int TLayoutColumnList::ColumnCount() const {
    return int(Items.size());
}
QString TLayoutColumnList::FieldName(int index) const {
    return Items.at(index).FieldName;
}
QString TLayoutColumnList::Title(int index) const {
    return Items.at(index).Title;
}
int TLayoutColumnList::Width(int index) const {
    return Items.at(index).Width;
}
void TLayoutColumnList::SetTitle(int index, const QString& title) {
    Items.at(index).Title = title;
}
void TLayoutColumnList::SetWidth(int index, int width) {
    Items.at(index).Width = width;
    Items.at(index).UserWidth = true;
}
int TLayoutColumnList::DefaultWidth(int index) const {
    return Items.at(index).DefaultWidth;
}
void TLayoutColumnList::SetDefaultWidth(int index, int width) {
    Items.at(index).Width = width;
    Items.at(index).UserWidth = false;
}
void TLayoutColumnList::ClearColumns() {
    Items.clear();
}
void TLayoutColumnList::InsertColumn(int index, const QString& fieldName) {
    TLayoutColumn c;
    c.FieldName = fieldName;
    c.Title = fieldName;
    Items.insert(Items.begin() + index, c);
}
void TLayoutColumnList::DeleteColumn(int index) {
    Items.erase(Items.begin() + index);
}

void UpdateFormat(TLayoutColumns& columns, const std::vector<TGridSetupRow>& rows) {
    int insertAt = columns.ColumnCount();
    QStringList drop;
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
        const int found = lastColumnOf(columns, row->FieldName);
        if (found >= 0) {
            insertAt = found;
            if (row->Shown) {
                columns.SetTitle(found, row->UserCaption);
                if (columns.Width(found) == 0) columns.SetWidth(found, 64);
            } else {
                drop << row->FieldName;
            }
        } else if (row->Shown) {
            columns.InsertColumn(insertAt, row->FieldName);
            columns.SetTitle(insertAt, row->UserCaption);
            columns.SetWidth(insertAt, 80);
        }
    }
    for (const QString& name : drop) {
        const int i = lastColumnOf(columns, name);
        if (i >= 0) columns.DeleteColumn(i);
    }
    columns.InitDBGrid();
}

} // namespace lnq
