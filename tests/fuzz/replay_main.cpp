// Replays a fuzz target's corpus as an ordinary test: every file in the
// directories given on the command line goes through LLVMFuzzerTestOneInput
// once, in name order. A missing or empty corpus fails, so that a corpus
// cannot silently vanish from the suite; a broken property aborts.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR...\n", argv[0]);
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    int total = 0;
    for (int a = 1; a < argc; ++a) {
        const QDir dir(QString::fromLocal8Bit(argv[a]));
        const QStringList files = dir.entryList(QDir::Files, QDir::Name);
        if (!dir.exists() || files.isEmpty()) {
            std::fprintf(stderr, "corpus %s is missing or empty\n", argv[a]);
            return 1;
        }
        for (const QString& name : files) {
            QFile f(dir.filePath(name));
            if (!f.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(f.fileName()));
                return 1;
            }
            const QByteArray input = f.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.constData()),
                                   static_cast<size_t>(input.size()));
            ++total;
        }
    }
    std::printf("replayed %d inputs\n", total);
    return 0;
}
