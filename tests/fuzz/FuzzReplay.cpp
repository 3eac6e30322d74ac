// Replays fuzz inputs through a target's entry point, for ctest: every file
// named, and every file in every folder named (sorted, not recursing). A
// crash or sanitizer report fails the run; so does a folder with no files.
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

bool replay(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    const QByteArray bytes = file.readAll();
    // A copy of exactly its size, so reads past the end are caught.
    std::vector<uint8_t> copy(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        if (QFileInfo(path).isDir()) {
            const QFileInfoList files = QDir(path).entryInfoList(QDir::Files, QDir::Name);
            if (files.isEmpty()) {
                std::fprintf(stderr, "no inputs in %s\n", qPrintable(path));
                return 1;
            }
            for (const QFileInfo& f : files)
                if (!replay(f.filePath())) return 1;
            replayed += int(files.size());
        } else if (!replay(path)) {
            return 1;
        } else {
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    return 0;
}
