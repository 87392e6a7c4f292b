#pragma once
// A pipe-like device over fixed bytes for reading code that must not rely on
// a size or on seeking: sequential, reads handed out in pieces of at most
// `piece` bytes, and writes kept in `written` up to an optional limit.

#include <QByteArray>
#include <QIODevice>
#include <cstring>

namespace lnqtest {

struct PipeOptions {
    qint64 piece = 0;              // largest read; 0: whatever is asked
    bool reportsAvailable = false; // bytesAvailable() tells what is left, as a filled pipe does
    qint64 writeLimit = -1;        // bytes accepted in total before writes fail; -1: no limit
    bool unbuffered = false;       // every read reaches the device: the reader sees the pieces
};

class PipeDevice : public QIODevice {
public:
    explicit PipeDevice(QByteArray data, PipeOptions options = {})
        : m_data(std::move(data)), m_options(options) {
        open(options.unbuffered ? QIODevice::ReadWrite | QIODevice::Unbuffered : QIODevice::ReadWrite);
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override {
        return QIODevice::bytesAvailable() + (m_options.reportsAvailable ? m_data.size() - m_pos : 0);
    }

    QByteArray written;

protected:
    qint64 readData(char* out, qint64 max) override {
        qint64 n = qMin(max, qint64(m_data.size()) - m_pos);
        if (m_options.piece > 0) n = qMin(n, m_options.piece);
        if (n <= 0) return -1;
        std::memcpy(out, m_data.constData() + m_pos, size_t(n));
        m_pos += n;
        return n;
    }
    qint64 writeData(const char* in, qint64 len) override {
        if (m_options.writeLimit >= 0) len = qMin(len, m_options.writeLimit - written.size());
        if (len <= 0) return -1;
        written.append(in, len);
        return len;
    }

private:
    QByteArray m_data;
    PipeOptions m_options;
    qint64 m_pos = 0;
};

} // namespace lnqtest
