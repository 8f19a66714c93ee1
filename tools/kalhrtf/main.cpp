// kalhrtf: brings in, checks, shows and compares sets of head-related responses.

#include "tools/kalhrtf/Commands.h"
#include "tools/support/Cli.h"

namespace {

void Describe(CLI::App& app)
{
    app.description("brings in, checks, shows and compares head-related responses");
    app.require_subcommand(1);
    app.footer("kalhrtf import head.sofa -o head.kalhrtfd\n"
               "kalhrtf import head.sofa -o - --rings 0:37,45:19,90:1 --taps 256 | kalhrtf info - --json\n"
               "kalhrtf plot head.kalhrtfd built-in -o heads.png\n"
               "kalhrtf resample built-in -r 48000 -o built-in-48000.kalhrtfd");
    for (const auto add : {kal::hrtf::AddImport, kal::hrtf::AddInfo, kal::hrtf::AddCheck, kal::hrtf::AddPlot,
                           kal::hrtf::AddExport, kal::hrtf::AddDiff, kal::hrtf::AddResample})
        add(app);
}

} // namespace

int main(int argc, char** argv)
{
    return kal::tools::Run(argc, argv, "kalhrtf", Describe);
}
