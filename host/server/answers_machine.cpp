#include <charconv>
#include <chrono>

#include "certificates.h"
#include "json_value.h"
#include "own_certificates.h"
#include "proxy.h"
#include "server/answers.h"
#include "server/problem.h"
#include "time_formats.h"

// What there is to know of the machine and its user: changes, certificates, the proxy, the time.
namespace vexahost {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t kLongestWaitSeconds = 60;

std::optional<uint32_t> parseCount(std::string_view text) {
  uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

Reply badParameter(const Call& call, const char* name, const std::string& what) {
  return problem(call.endpoint.module(), 400,
                 "the parameter " + std::string(name) + " is not " + what);
}

void addCertificate(JsonArrayRef& list, const std::string& subject, const std::string& issuer,
                    const CertificateUses& uses) {
  JsonObjectRef certificate = list.addObject();
  certificate.setText("subject", subject);
  certificate.setText("issuer", issuer);
  JsonObjectRef names = certificate.addObject("uses");
  names.setBool("encrypt", uses.encrypt);
  names.setBool("sign", uses.sign);
  names.setBool("client", uses.client);
  names.setBool("ca", uses.ca);
  names.setBool("root", uses.root);
  names.setBool("selfIssued", uses.selfIssued);
}

const char* decisionName(ProxyDecision::Kind kind) {
  switch (kind) {
    case ProxyDecision::Kind::kProxy:
      return "proxy";
    case ProxyDecision::Kind::kDirect:
      return "direct";
    default:
      return "none";
  }
}

}  // namespace

Outcome answerStatus(const Call& call) {
  const uint32_t changes = call.endpoint.events().changes();
  const auto wait = queryParameter(call, "wait");
  if (wait && !call.waitIsOver) {
    const auto seconds = parseCount(*wait);
    if (!seconds) {
      return badParameter(call, "wait", "a number of seconds");
    }
    const auto sinceText = queryParameter(call, "since");
    const auto since = sinceText ? parseCount(*sinceText) : call.changesBefore;
    if (!since) {
      return badParameter(call, "since", "a number of changes");
    }
    if (changes == *since && *seconds != 0) {
      return Wait{*since, milliseconds(1000 * std::min(*seconds, kLongestWaitSeconds))};
    }
  }
  JsonObjectRef answer(call.endpoint.module());
  answer.setInteger("changes", changes);
  return Reply{.body = answer.text()};
}

Outcome answerEvents(const Call&) { return Subscribe{}; }

Outcome answerCertificates(const Call& call) {
  JsonObjectRef answer(call.endpoint.module());
  JsonArrayRef list = answer.addArray("certificates");
  for (const OwnCertificate& own : ownCertificates(call.endpoint.module())) {
    addCertificate(list, own.subject, own.issuer, own.uses);
  }
  return Reply{.body = answer.text()};
}

Outcome answerInspect(const Call& call) {
  const Module& module = call.endpoint.module();
  std::vector<CertificateRef> certificates;
  try {
    certificates = certificatesIn(module, bodyOf(call.request), "the body");
  } catch (const HostError& error) {
    if (error.status() != ExitStatus::kInput) {
      throw;
    }
    return problem(module, 400, error.what());
  }
  JsonObjectRef answer(module);
  JsonArrayRef list = answer.addArray("certificates");
  for (CertificateRef& certificate : certificates) {
    addCertificate(list, subjectOf(module, certificate.get()), issuerOf(module, certificate.get()),
                   usesOf(module, certificate.get()));
    certificate.reset();  // the texts are what takes memory from here on
  }
  return Reply{.body = answer.text()};
}

Outcome answerProxy(const Call& call) {
  const Module& module = call.endpoint.module();
  const auto url = queryParameter(call, "url");
  if (!url) {
    return missingParameter(call, "url");
  }
  ProxyDecision decision;
  try {
    decision = decideProxy(module, *url);
  } catch (const HostError& error) {
    if (error.status() != ExitStatus::kUsage) {
      throw;
    }
    return problem(module, 400, error.what());
  }
  JsonObjectRef answer(module);
  answer.setText("url", *url);
  answer.setText("decision", decisionName(decision.kind));
  if (decision.kind == ProxyDecision::Kind::kProxy) {
    answer.setText("proxy", decision.proxy);
  }
  JsonArrayRef why = answer.addArray("why");
  for (const std::string& line : decision.why) {
    why.addText(line);
  }
  return Reply{.body = answer.text()};
}

Outcome answerTime(const Call& call) {
  const Module& module = call.endpoint.module();
  const auto value = queryParameter(call, "value");
  if (!value) {
    return missingParameter(call, "value");
  }
  const std::string from = queryParameter(call, "from").value_or("filetime");
  const std::string to = queryParameter(call, "to").value_or("unix");
  std::string result;
  try {
    result = std::to_string(convertTime(module, *value, from, to));
  } catch (const HostError& error) {
    return problem(module, 400, error.what());
  }
  JsonObjectRef answer(module);
  answer.setText("value", *value);
  answer.setText("from", from);
  answer.setText("to", to);
  answer.setText("result", result);
  return Reply{.body = answer.text()};
}

}  // namespace vexahost
