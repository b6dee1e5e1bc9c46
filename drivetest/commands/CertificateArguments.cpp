#include "drivetest/commands/CertificateArguments.h"

#include <CLI/CLI.hpp>

namespace drivetest {

void addCertificateOptions(CLI::App& command, CertificateOptions& options) {
    command.footer(
        "Only a run that came to its end and gives a verdict gets a certificate, also one that failed.\n"
        "Exit status: 0 written, 2 there is nothing to certify, or it cannot be read, written or signed.");
    command.add_option("RECORD", options.record, "Record of a run, see \"--events\" of \"drivetest run\"")
        ->required();
    command.add_option("-o,--output", options.output, "The certificate, a page of HTML")
        ->type_name("FILE")
        ->required();
    command.add_option("--pdf", options.pdf, "Also as PDF; Chromium or WeasyPrint makes it")
        ->type_name("FILE");
    command.add_option("--sign", options.key, "Sign it with this key of ssh-keygen's; makes FILE.sig")
        ->type_name("KEY");
    command.add_flag("--force", options.replaceOutput, "Replace what the files hold");
}

void addVerifyOptions(CLI::App& command, VerifyOptions& options) {
    command.footer(
        "Exit status: 0 all that was checked holds, 1 something does not, 2 nothing can be checked.");
    command.add_option("CERTIFICATE", options.certificate, "The certificate; its signature lies beside it")
        ->required();
    command.add_option("RECORD", options.record, "The record that it should be made from");
    auto* const signers =
        command
            .add_option("--allowed-signers", options.allowedSigners,
                        "The signature must be made with a key that this file has for --identity")
            ->type_name("FILE");
    auto* const identity =
        command.add_option("--identity", options.identity, "Who must have signed it, such as an address")
            ->type_name("NAME");
    signers->needs(identity);
    identity->needs(signers);
}

}  // namespace drivetest
