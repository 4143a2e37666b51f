#include <vellxml/loader/xml_element_p.h>
#include <vellxml/svd/svd_document_p.h>
#include <vellxml/svd/svd_import.h>
#include <vellxml/svd/svd_model_p.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryDir>

#include <cstdio>
#include <functional>

#if defined(Q_OS_LINUX)
#include <fcntl.h>
#endif

using namespace vellxml::svd_p;

namespace {

void send(HwMessageCallback callback, const QString& text)
{
    if (callback)
        callback(text.toUtf8().constData());
}

/// convertSvd() on a text of its own in an arena (see SvdArena), parsed in place. With `output`, the files'
/// contents lie in its memory.
bool convert(SvdText svd, const QString& path, QList<QPair<QString, QByteArray>>& files,
    HwMessageCallback error, HwMessageCallback warning, const HwSvdImportLimits& limits,
    HwSvdImportSummary* summary, SvdArena* output)
{
    files.clear();
    SvdMessages messages;
    messages.path = path;
    messages.error = error;
    messages.warning = warning;
    // The device's texts lie in `strings`, which outlives it: the output's arena when there is one (they
    // are all taken before the first archive is written), so that the two fill the same huge pages.
    SvdArena ownStrings;
    SvdArena& strings = output != nullptr ? *output : ownStrings;
    SvdDevice device;
    HwSvdImportSummary counts;
    bool ok = readSvd(std::move(svd), limits, messages, strings, device)
        && writeArchives(device, limits, messages, files, counts, output);
    if (ok && counts.registers + counts.fields > limits.maxElements) {
        messages.fail(0, 0,
            QStringLiteral("The description has more than %1 registers and fields.").arg(limits.maxElements));
        ok = false;
    }
    counts.warnings = messages.warnings;
    if (!ok)
        files.clear();
    if (summary)
        *summary = counts;
    return ok;
}

} // namespace

bool convertSvd(const QByteArray& svd, const QString& path, QList<QPair<QString, QByteArray>>& files,
    HwMessageCallback error, HwMessageCallback warning, const HwSvdImportLimits& limits,
    HwSvdImportSummary* summary)
{
    SvdText text;
    if (!text.assign(svd.constData(), std::size_t(svd.size()))) {
        files.clear();
        send(error, QStringLiteral("%1:0:0: error: Out of memory.").arg(path));
        return false;
    }
    return convert(std::move(text), path, files, error, warning, limits, summary, nullptr);
}

bool importSvdFile(const QString& svdPath, const QString& outputDir, HwMessageCallback error,
    HwMessageCallback warning, const HwSvdImportLimits& limits, HwSvdImportSummary* summary)
{
    // The file is read straight into the arena the parse works in.
    SvdText svd;
    const std::function<char*(std::int64_t)> room = [&svd](std::int64_t n) {
        svd.data = static_cast<char*>(svd.arena.allocate(std::size_t(n) + 1, 1));
        svd.size = svd.data != nullptr ? std::size_t(n) : 0;
        return svd.data;
    };
    QByteArray text;
    QString reason;
    const int read = vellxml::loader_p::readArchiveFile(svdPath, limits.document, text, reason, &room);
    if (read == vellxml::loader_p::READ_NOT_OPENED) {
        send(error, QStringLiteral("Unable to open file %1").arg(svdPath));
        return false;
    }
    if (read != vellxml::loader_p::READ_OK || !vellxml::svd_p::svdTextToUtf8(text, reason)) {
        send(error, QStringLiteral("%1:0:0: error: %2").arg(svdPath, reason));
        return false;
    }
    // A text that was decrypted or converted lies elsewhere.
    if (text.constData() != svd.data || std::size_t(text.size()) != svd.size) {
        if (!svd.assign(text.constData(), std::size_t(text.size()))) {
            send(error, QStringLiteral("%1:0:0: error: Out of memory.").arg(svdPath));
            return false;
        }
    }
    text = QByteArray();
    // The files' contents lie in `output`, which outlives them.
    SvdArena output;
    QList<QPair<QString, QByteArray>> files;
    if (!convert(std::move(svd), svdPath, files, error, warning, limits, summary, &output))
        return false;

    // Written into a fresh directory beside the target, then moved in place: a reader of the target sees the
    // old set or the new one, never a part.
    const QFileInfo target(outputDir);
    const QString parent = target.absolutePath();
    if (!QDir().mkpath(parent)) {
        send(error, QStringLiteral("Unable to create the directory %1").arg(parent));
        return false;
    }
    QTemporaryDir fresh(parent + QStringLiteral("/.") + target.fileName() + QStringLiteral("-XXXXXX"));
    if (!fresh.isValid()) {
        send(error, QStringLiteral("Unable to create a directory in %1").arg(parent));
        return false;
    }
    for (const auto& file : files) {
        QFile out(fresh.path() + QLatin1Char('/') + file.first);
        // Each file is written whole in one call: no buffer of the device's own.
        if (!out.open(QIODevice::WriteOnly | QIODevice::Unbuffered)
            || out.write(file.second) != file.second.size() || !out.flush()) {
            send(error, QStringLiteral("Unable to write file %1").arg(out.fileName()));
            return false;
        }
    }
    const auto permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
        | QFileDevice::ReadGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther;
    QString old;
    if (target.exists()) {
        if (!target.isDir()) {
            send(error, QStringLiteral("%1 exists and is not a directory").arg(outputDir));
            return false;
        }
#if defined(Q_OS_LINUX) && defined(RENAME_EXCHANGE)
        // Where the file system can, the two sets change places in one step: the target is never missing,
        // and no directory is made to hold the old set on its way out. Elsewhere it is moved aside first.
        if (renameat2(AT_FDCWD, QFile::encodeName(fresh.path()).constData(), AT_FDCWD,
                QFile::encodeName(target.absoluteFilePath()).constData(), RENAME_EXCHANGE)
            == 0) {
            QFile::setPermissions(target.absoluteFilePath(), permissions);
            fresh.remove(); // the old set
            return true;
        }
#endif
        QTemporaryDir aside(
            parent + QStringLiteral("/.") + target.fileName() + QStringLiteral("-old-XXXXXX"));
        aside.setAutoRemove(false);
        if (!aside.isValid() || !QDir().rmdir(aside.path())
            || !QDir().rename(target.absoluteFilePath(), aside.path())) {
            send(error, QStringLiteral("Unable to replace the directory %1").arg(outputDir));
            return false;
        }
        old = aside.path();
    }
    if (!QDir().rename(fresh.path(), target.absoluteFilePath())) {
        if (!old.isEmpty())
            QDir().rename(old, target.absoluteFilePath());
        send(error, QStringLiteral("Unable to move the archive set into %1").arg(outputDir));
        return false;
    }
    fresh.setAutoRemove(false);
    QFile::setPermissions(target.absoluteFilePath(), permissions);
    if (!old.isEmpty())
        QDir(old).removeRecursively();
    return true;
}
