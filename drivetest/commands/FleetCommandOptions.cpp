#include <CLI/CLI.hpp>

#include "drivetest/commands/CommandOptions.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

CLI::App& addMetrics(CLI::App& program, MetricsOptions& options) {
    CLI::App& command = *program.add_subcommand("metrics", words("Tell Prometheus what records of runs say"));
    command.footer(words("Writes DIR/drivetest.prom for the textfile collector of the node exporter, anew "
                         "each time: the newest "
                         "run of each test on each drive.") +
                   "\n" +
                   words("Exit status: 0 written, 2 nothing was written, 3 written, but without records that "
                         "cannot be read."));
    command
        .add_option("RECORD", options.records,
                    words("Records of runs, and folders, of which all *.jsonl are read"))
        ->type_name("")
        ->required();
    command.add_option("-o,--output", options.folder, words("Folder that the collector looks into"))
        ->type_name("DIR")
        ->required();
    return command;
}

CLI::App& addOverview(CLI::App& program, OverviewOptions& options) {
    CLI::App& command =
        *program.add_subcommand("overview", words("Make a page on all drives of a folder of records"));
    command.footer(
        words(
            "Counts by result, models and firmware with bad sectors, drives that got worse since the run "
            "before, "
            "regions that are slower than others of the model, the oldest drives; with links to records and "
            "reports.") +
        "\n" +
        words("Exit status: 0 written, 2 nothing was written, 3 written, but without records that cannot be "
              "read."));
    command
        .add_option("DIR", options.folder,
                    words("Folder with the records of runs, *.jsonl, and folders in it"))
        ->type_name("")
        ->required();
    command.add_option("-o,--output", options.output, words("The overview, a page of HTML"))
        ->type_name("FILE")
        ->required();
    command.add_flag("--force", options.replaceOutput, words("Replace what FILE holds"));
    return command;
}

}  // namespace drivetest
