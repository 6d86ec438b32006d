#include <memory>

#include "issuing/issue.h"
#include "options.h"

namespace vexahost {
namespace {

void checkRequest(const IssueRequest& request) {
  const auto refuse = [](const char* text) { throw HostError(text, ExitStatus::kUsage); };
  if (request.like.empty() == request.keyOut.empty()) {
    refuse("one of --like and --p12-out says whose key it is");
  }
  if (request.issuer.empty() == request.issuerKey.empty() ||
      request.issuerKey.empty() != request.issuerCertificates.empty()) {
    refuse("either --issuer, or --issuer-key and --issuer-cert say who signs");
  }
  if (request.isCa && !request.profile.empty() && request.profile != "ca") {
    refuse("--ca does not go with this --for");
  }
  if (request.profile == "server" && request.alternativeNames.empty()) {
    refuse("--for server needs the names of the server, such as --san DNS:www.example.org");
  }
  if (request.subject.empty() && (request.isAuthority() || request.alternativeNames.empty())) {
    refuse(request.isAuthority() ? "an authority needs a name: --subject is empty"
                                 : "nobody is named: --subject is empty, and there is no --san");
  }
}

void addContentOptions(Command command, IssueRequest& request) {
  command.option("--subject", request.subject, "Name, such as CN=Jane,O=Orlind,C=DE").required();
  command
      .option("--for", request.profile, "Whom the certificate is for: sets key usage and purposes")
      .oneOf({"server", "client", "ca", "person"});
  command
      .option("--usage", request.usage,
              "Key usage code: 0 to 8 a single flag, 16 signature, 17 encryption, 18 both; "
              "without it and --for signature, or that of an authority")
      .oneOf({0, 1, 2, 3, 4, 5, 6, 7, 8, 16, 17, 18});
  command.option("--eku", request.purposes,
                 "Purpose: serverAuth, clientAuth, codeSigning, emailProtection, timeStamping, "
                 "OCSPSigning or an object identifier; repeatable");
  command.option("--san", request.alternativeNames,
                 "Alternative name: DNS:www.example.org, email:jane@example.org, "
                 "URI:https://example.org/ or IP:192.0.2.1; repeatable");
  const Option daysOption =
      command.option("--days", request.days, "Validity, from its beginning on")
          .between(1, 36500)
          .showsDefault();
  command.option("--not-before", request.notBefore,
                 "Valid from, such as 2030-01-31 or 2030-01-31T12:00:00Z; from now on if not "
                 "given");
  command.option("--not-after", request.notAfter, "Valid until").excludes(daysOption);
  command.flag("--ca", request.isCa, "The certificate is itself an authority's (--for ca)");
}

void addKeyOptions(Command command, IssueRequest& request) {
  command.option("--like", request.like, "Certify the public key of this certificate");
  command.option("--p12-out", request.keyOut,
                 "Certify a new key and write it with its chain (PKCS#12)");
  command.option("--key-bits", request.keyBits, "Size of the new key").showsDefault();
  command.option("--curve", request.curve, "Make the new key on this curve instead")
      .oneOf({"P-256", "P-384", "P-521"});
  command.flag("--weak-key", request.allowsWeakKey,
               "Allow --key-bits from 1024, and such as are no multiple of 8");
}

}  // namespace

void addCaCommand(Command app, Options& options) {
  Command command = app.command("ca", "Certification authority");
  command.needsCommand();
  Command issueCommand = command.command("issue", "Issue a certificate");
  const auto request = std::make_shared<IssueRequest>();
  issueCommand.option("--issuer", request->issuer, "PKCS#12 file of the issuer");
  issueCommand.option("--issuer-key", request->issuerKey,
                      "Or the issuer's private key, PEM; it may be encrypted");
  issueCommand.option("--issuer-cert", request->issuerCertificates,
                      "... with its certificate first, PEM; repeatable");
  addContentOptions(issueCommand, *request);
  addKeyOptions(issueCommand, *request);
  issueCommand.option("--out", request->out, "Certificate to write, PEM").required();
  request->issuerPassword.addOptions(issueCommand, "issuer-password");
  request->newPassword.addOptions(issueCommand, "p12-password");
  issueCommand.onRun([&options, request] {
    checkRequest(*request);
    issue(options, *request);
  });
}

}  // namespace vexahost
