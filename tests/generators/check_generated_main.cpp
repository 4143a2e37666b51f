// vellxml_check_generated: checks every generated output of chips with the real tools.
//   vellxml_check_generated ROOT_FILE...        the given chips
//   vellxml_check_generated --random FIRST COUNT random chips of seeds FIRST .. FIRST+COUNT-1
// Prints each failure with its chip (and seed) and exits 1 when any check failed.
#include "generated_check.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    const gencheck::Tools tools {QStringLiteral(VELLXML_TEST_CC), QStringLiteral(VELLXML_OBJCOPY),
        QStringLiteral(VELLXML_GHDL)};
    QTemporaryDir work;
    if (arguments.isEmpty() || !work.isValid()) {
        std::fprintf(stderr, "usage: vellxml_check_generated ROOT_FILE... | --random FIRST COUNT\n");
        return 2;
    }
    int failed = 0;
    const auto report = [&failed](const QString& chip, const QStringList& failures) {
        for (const QString& failure : failures)
            std::fprintf(stderr, "%s: %s\n", chip.toUtf8().constData(), failure.toUtf8().constData());
        if (!failures.isEmpty())
            ++failed;
    };
    if (arguments.first() == QLatin1String("--random")) {
        if (arguments.size() != 3)
            return 2;
        const unsigned long long first = arguments[1].toULongLong();
        const unsigned long long count = arguments[2].toULongLong();
        for (unsigned long long seed = first; seed < first + count; ++seed) {
            const QString dir = work.path() + QStringLiteral("/seed%1").arg(seed);
            const QString root = gencheck::writeRandomChip(dir + QStringLiteral("/chip"), seed);
            report(QStringLiteral("seed %1 (%2)").arg(seed).arg(root), gencheck::checkGeneratedFiles(root, dir, tools));
        }
    } else {
        int i = 0;
        for (const QString& root : arguments)
            report(root, gencheck::checkGeneratedFiles(root, work.path() + QStringLiteral("/chip%1").arg(i++), tools));
    }
    if (failed)
        work.setAutoRemove(false);
    std::printf("%d chip(s) failed\n", failed);
    return failed ? 1 : 0;
}
