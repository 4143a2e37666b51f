// A program outside the project, built against the installed package: it uses
// the evaluator, the element model, target access through the simulated host, and a load's diagnostics.
#include <vellxml/host/simulator.h>
#include <vellxml/vellxml.h>

#include <cstdio>
#include <memory>

int main()
{
    cexev::CExEv evaluator;
    variant::Variant result;
    int value = 0;
    if (evaluator.evalExpression("2*(3+4)", result) != 0 || !result.asInt(value))
        return 1;
    std::printf("2*(3+4) = %d\n", value);

    auto uart = std::make_unique<HwStruct>(QStringLiteral("uart"), QStringLiteral("UART"));
    uart->addElement(std::make_unique<HwRegister8>(QStringLiteral("status")));
    auto* cfg =
        static_cast<HwRegister32*>(uart->addElement(std::make_unique<HwRegister32>(QStringLiteral("cfg"))));
    auto* mode = cfg->addBitField(std::make_unique<HwBitField>(QStringLiteral("mode"), true,
        HwBitField::WRITE_NORMAL, QStringLiteral("5"), 5, QStringLiteral("4"), 4, 0, true, DISPLAY_HEX));
    uart->remap(0x40010000);

    const int target = 1;
    vellxml::sim::poke(target, 0x40010004, 0x20);
    unsigned int raw = 0;
    if (cfg->read(target, raw) != 0)
        return 1;
    cfg->setValue(raw);
    std::printf("%s at %s = %s, mode = %s\n", qPrintable(cfg->getPath()), qPrintable(cfg->getAddressString()),
        qPrintable(cfg->getValueString(DISPLAY_HEX)),
        qPrintable(mode->getValueString(DISPLAY_DEC, false, false)));

    // A load reports through the caller's sink: a missing root file is one error with its stable code.
    vellxml::DiagnosticList diagnostics;
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    if (loader.loadRootArchiveFromFile(&map, QStringLiteral("/nonexistent/chip.xml"), diagnostics, true)
        || diagnostics || diagnostics.count(vellxml::Severity::Error) != 1)
        return 1;
    std::printf("%s\n", qPrintable(diagnostics.diagnostics().front().code));
    return 0;
}
