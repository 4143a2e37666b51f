#include <vellxml/vellxml.h>

#include <cstdio>

int main()
{
    cexev::CExEv evaluator;
    variant::Variant result;
    if (evaluator.evalExpression("2*(3+4)", result) != 0)
        return 1;
    int value = 0;
    if (!result.asInt(value))
        return 1;
    std::printf("2*(3+4) = %d\n", value);
    return 0;
}
