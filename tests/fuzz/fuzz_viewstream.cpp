// The saved-view stream: any bytes either raise EReadError or give a view,
// the same one from a random-access buffer and from a pipe, and a condition
// list written back reads back with the same shape.

#include "FuzzSupport.h"
#include "filter/ViewStream.h"
#include "util/Exceptions.h"

#include <QBuffer>
#include <optional>

namespace {

std::optional<lnq::TStoredView> read(QIODevice& device) {
    try {
        return lnq::ReadStoredView(device);
    } catch (const lnq::EReadError&) {
        return std::nullopt;
    }
}

} // namespace

LNQ_FUZZ_INITIALIZE(false, "\x03\x00\x01\x01\x00\x00\x00\x01\x00\x00\x00p\x00\x00\x00\x00\x00\x00\x00\x00")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    QByteArray input = lnqfuzz::bytes(data, size);
    QBuffer buffer(&input);
    buffer.open(QIODevice::ReadOnly);
    const std::optional<lnq::TStoredView> view = read(buffer);

    lnqtest::PipeDevice pipe(input, lnqfuzz::pipePieces(1 + qint64(size % 7)));
    const std::optional<lnq::TStoredView> piped = read(pipe);
    LNQ_FUZZ_CHECK(view.has_value() == piped.has_value(), "a pipe reads like a buffer");
    if (!view) return 0;
    const QString sql = view->ResultSQL();
    LNQ_FUZZ_CHECK(sql == piped->ResultSQL(), "a pipe reads like a buffer");
    // Texts decode from GBK: at most one character per byte.
    LNQ_FUZZ_CHECK(sql.size() <= 2 * qsizetype(size) + 8 * qsizetype(view->Conditions.size()) + 8,
                   "the view's SQL grows with the stream");
    if (view->IsSQL) return 0;

    lnq::TConditionList list;
    for (const lnq::TCondition& c : view->Conditions)
        list.Add(c.Piece, c.Row.Caption, c.Row.Description);
    QByteArray again;
    QBuffer out(&again);
    out.open(QIODevice::WriteOnly);
    lnq::SaveToStream(out, list, view->MatchAll);
    out.close();
    out.open(QIODevice::ReadOnly);
    const std::optional<lnq::TStoredView> back = read(out);
    LNQ_FUZZ_CHECK(back && back->Conditions.size() == view->Conditions.size() &&
                       back->MatchAll == view->MatchAll,
                   "a condition list reads back as written");
    return 0;
}
