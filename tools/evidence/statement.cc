#include "tools/evidence/statement.h"

#include <fmt/format.h>
#include <sys/utsname.h>

#include "tools/common/console.h"
#include "tools/common/file_digest.h"

namespace vmr::tool {
namespace {

constexpr const char* kReadmeHead =
    R"(What this is
============

This folder, or the archive that it came in, holds evidence from the recorder of
a vehicle: a BagIt bag (RFC 8493).

  data/extract.vmd          the part of the recording that was asked for, its
                            beginning completed by what the recording tells
{unit}  data/export.jsonl         every record of {of} as a line of JSON
  data/csv/                 the same as tables
  data/way.gpx              its positions as a way
  data/report.html          all of it as a page for a browser
  {check}what is damaged in the recording, if anything
  data/statement.txt        what was packaged, from what, on which machine, and
                            how far its clock can be trusted
  data/source-sha256.txt    digests of the recording's own files
  bag-info.txt              when, why, for which case and by whom

{redacted})";

constexpr const char* kReadmeUnitsExtract =
    R"(  data/extract-as-unit.vmd  the same as the recorder itself extracts it
)";

constexpr const char* kReadmeRedacted =
    R"(It is redacted
==============

Something was taken out before it was packaged. data/statement.txt and
bag-info.txt say what, and in whose name. The exports, the tables, the way and the
page are made of extract.vmd, in which it is not. Of the recording itself there
are digests, and whether its files are sound.

A bag with all of it may be there, or can be made again of the same recording.
bag-info.txt ties this one to it. In the folder of that other bag,

  sha256sum tagmanifest-sha256.txt.sig

prints what bag-info.txt here has as Unredacted-Signature-SHA256; or, of bags that
are not signed,

  sha256sum tagmanifest-sha256.txt

what it has as Unredacted-Tag-Manifest-SHA256.

)";

constexpr const char* kReadmeCheck =
    R"(How to check it
===============

Nothing but sha256sum and OpenSSL (version 3) is needed. In this folder:

1. Nothing that the manifests list is changed or missing:

     sha256sum -c tagmanifest-sha256.txt
     sha256sum -c manifest-sha256.txt

   Every line ends in OK. And there is nothing that they do not list: the first of
   these two prints the same as the second, and besides tagmanifest-sha256.txt and
   at most the same name with .sig, .minisig and .tsr behind it.

     find . ! -type d | cut -c3- | sort
     cat manifest-sha256.txt tagmanifest-sha256.txt | cut -c67- | sort

)";

constexpr const char* kReadmeSigned =
    R"(2. The one who holds the key signed just this:

     openssl pkeyutl -verify -pubin -inkey KEY.pub -rawin \
       -in tagmanifest-sha256.txt -sigfile tagmanifest-sha256.txt.sig

   It says "Signature Verified Successfully". KEY.pub is the public key as you
   have it from the signer. signer-public-key.pem is the one that came with the
   bag: whoever made another bag could have put another key there. So compare
   its fingerprint with the one that the signer told you, on paper or by telephone:

     openssl pkey -pubin -in signer-public-key.pem -outform DER | sha256sum

   Whoever made this bag says that it is
   {}.

   Who has minisign can use that instead; it says "Signature and comment signature
   verified". KEY is the second line of signer-public-key.minisign, compared with
   what the signer told you ("vmr key show" prints it):

     minisign -V -m tagmanifest-sha256.txt -P KEY

)";

constexpr const char* kReadmeUnsigned =
    R"(2. This bag is not signed. The digests tell of damage by accident. They do not
   tell whether somebody changed a file and its digest.

)";

constexpr const char* kReadmeStamp =
    R"(3. If there is a tagmanifest-sha256.txt.tsr, an authority has stamped the time at
   which tagmanifest-sha256.txt was there at the latest. ROOT.pem is the certificate
   of the root that stands behind that authority, from where it publishes it:

     openssl ts -verify -data tagmanifest-sha256.txt \
       -in tagmanifest-sha256.txt.tsr -CAfile ROOT.pem

   It says "Verification: OK". Once a certificate has expired, add -attime and a
   moment at which it was valid, in seconds since 1970.

)";

constexpr const char* kReadmeSource =
    R"(4. The recording that this was made from, if you have it. In its folder, with the
   way to this bag in front:

     sha256sum -c BAG/data/source-sha256.txt

)";

constexpr const char* kReadmeUnnamedSource =
    R"(4. The recording that this was made from, if you have it. Its two files are not
   named here: what sha256sum prints for them stands in data/source-sha256.txt.

)";

constexpr const char* kReadmeEnd =
    R"(What it does not say
====================

A signature and a time stamp are of the packaging, not of the recording: they say
that this is what was packaged, by whom, and not later than when. What the unit
recorded before that is protected by checksums against accident, not against
intent. How well its clock can be trusted is in data/statement.txt.
)";

std::string HostText() {
  struct utsname host {};
  if (uname(&host) != 0) return "unknown";
  return fmt::format("{} ({}, {})", host.nodename, host.sysname, host.machine);
}

std::string Indented(const std::string& lines) {
  std::string text;
  for (std::size_t at = 0; at < lines.size();) {
    const std::size_t end = std::min(lines.find('\n', at), lines.size());
    text += "  " + lines.substr(at, end - at) + "\n";
    at = end + 1;
  }
  return text;
}

}  // namespace

std::string ReadmeText(const ReadmeFacts& facts) {
  const bool redacted = facts.is_redacted;
  return fmt::format(kReadmeHead, fmt::arg("unit", redacted ? "" : kReadmeUnitsExtract),
                     fmt::arg("check", redacted ? "data/check.txt            "
                                                : "data/check.txt, .json     "),
                     fmt::arg("of", redacted ? "extract.vmd" : "the range"),
                     fmt::arg("redacted", redacted ? kReadmeRedacted : "")) +
         kReadmeCheck +
         (facts.signer.empty() ? std::string(kReadmeUnsigned)
                               : fmt::format(kReadmeSigned, facts.signer)) +
         kReadmeStamp + (redacted ? kReadmeUnnamedSource : kReadmeSource) + kReadmeEnd;
}

std::string RedactionLines(const Redaction& redaction, const std::string& by) {
  std::string lines = fmt::format("{}, by {}\n", redaction.Text(), Printable(by));
  for (const records::SensitivityRow& row : records::Sensitivities())
    if (redaction.TakesOut(row.id)) lines += fmt::format("{}: {}\n", row.name, row.what);
  if (redaction.CellMetres() > 0)
    lines += fmt::format(
        "Positions are the middles of cells of {} metres and not where the vehicle was.\n",
        redaction.CellMetres());
  return lines +
         "How much that was is not said: it would tell of what it was.\n"
         "What the unit's own software would extract is not here: what it says of the state at "
         "the start is not verified, so nobody can tell what would have to be taken out.\n";
}

std::string StatementText(const StatementFacts& facts) {
  std::string text = fmt::format("Packaged by vmr {} on {}\n", VMR_VERSION, HostText());
  const bool redacted = !facts.redaction.empty();
  text += fmt::format("Recording: {}\n", redacted ? "not named" : Printable(facts.store));
  text += fmt::format("Range: from {} to {}\n", Printable(facts.from), Printable(facts.to));
  text += fmt::format("Local times: {}\n", facts.zone.empty() ? facts.why_no_zone : facts.zone);
  text += "\nIts files\n";
  for (const CaseSource& source : facts.sources)
    text += fmt::format("  {}: {}\n", source.path,
                        source.sha256
                            ? fmt::format("{} bytes, SHA-256 {}", source.bytes, *source.sha256)
                            : source.problem);
  text += "\nextract.vmd\n" + Indented(facts.cut_summary);
  if (redacted)
    text += "\nTaken out\n" + Indented(facts.redaction);
  else
    text += "\nextract-as-unit.vmd\n" +
            Indented(facts.unit_summary.empty() ? "not made, see below" : facts.unit_summary);
  text += "\nThe clock\n" + Indented(facts.clock);
  text += "\nThe recording's health\n" + Indented(facts.findings);
  text += "\nWhat was said while it was packaged\n";
  for (const std::string& remark : facts.remarks) text += "  " + Printable(remark) + "\n";
  if (facts.remarks.empty()) text += "  nothing\n";
  return text;
}

std::string SourceDigests(const std::vector<CaseSource>& sources) {
  std::string text;
  for (const CaseSource& source : sources)
    if (source.sha256) text += DigestLine(*source.sha256, source.file_name);
  return text;
}

}  // namespace vmr::tool
