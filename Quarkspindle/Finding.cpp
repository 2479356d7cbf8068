#include "Quarkspindle/Finding.h"

#include <algorithm>

#include "Quarkspindle/Json.h"
#include "Quarkspindle/Output.h"

namespace Quarkspindle
{

namespace
{

struct StateText
{
    const char* Text;
    const char* Json;
};

StateText GetText(Finding::EState state)
{
    switch (state)
    {
    case Finding::EState::Sound:
        return {"ok", "ok"};
    case Finding::EState::Damaged:
        return {"DAMAGED", "damaged"};
    case Finding::EState::LeftOut:
        return {"LOST", "lost"};
    case Finding::EState::Mended:
        return {"mended", "mended"};
    }
    return {"", ""};
}

}

std::size_t gCountDamages(const std::vector<Finding>& findings)
{
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(),
        [](const Finding& finding) { return finding.State == Finding::EState::Damaged; }));
}

void gPrintFindings(Output& output, const std::vector<Finding>& findings)
{
    for (const Finding& finding : findings)
        output.Print("%-8s%s: %s\n", GetText(finding.State).Text, gMakePrintable(finding.File).c_str(),
            gMakePrintable(finding.Text).c_str());
}

void gPrintFindingsAsJson(Output& output, const std::string& sessionPath, const std::vector<Finding>& findings)
{
    Json json{output};
    json.StartObject();
    json.Member("capture", sessionPath);
    json.Member("damages", static_cast<int64_t>(gCountDamages(findings)));
    json.Key("findings");
    json.StartArray();
    for (const Finding& finding : findings)
    {
        json.StartObject();
        json.Member("file", finding.File);
        json.Member("state", std::string_view{GetText(finding.State).Json});
        json.Member("text", finding.Text);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

}
