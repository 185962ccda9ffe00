#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/find_name.h"
#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "core/setting_value.h"
#include "platform/folders.h"
#include "rules/date_tokens.h"
#include "rules/rule_check.h"

namespace kavrel {

namespace {

int SaveRules(Session& session, const std::vector<ExclusionRule>& rules) {
  if (session.Program().Exclusions.SaveExclusions(rules)) return kDone;
  PrintError(Tr("the rules cannot be written: Exc.txt in the program folder"));
  return kSomeFailed;
}

int SaveFilterTable(Session& session) {
  const int error = session.Program().Filters.SaveFilters();
  if (error == 0) return kDone;
  PrintError(Fill(Tr("the file types cannot be written: FileType.txt in the program folder: %1"),
                  {ToUtf8(SystemErrorText(error))}));
  return kSomeFailed;
}

int Refuse(const std::u16string& message) {
  PrintError(Printable(Shown(message)));
  return kBadInput;
}

/// The places of the rules of a name, without regard to letter case; else of a number as the list
/// shows it.
std::vector<std::size_t> RulesNamed(const std::vector<ExclusionRule>& rules,
                                    const std::string& name) {
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < rules.size(); ++i) {
    if (EqualNoCase(rules[i].Desc, FromUtf8(name))) places.push_back(i);
  }
  const bool kept = !places.empty();
  for (std::size_t i = 0; !kept && i < rules.size(); ++i) {
    if (IsShownAs(rules[i].Desc, FromUtf8(name))) places.push_back(i);
  }
  const auto number = ParseInt(FromUtf8(name));
  if (places.empty() && number && *number >= 1 &&
      static_cast<std::size_t>(*number) <= rules.size()) {
    places.push_back(static_cast<std::size_t>(*number) - 1);
  }
  return places;
}

}  // namespace

int ListRules(Session& session, ListForm form) {
  if (!session.Open()) return session.Failure();
  const Program& program = session.Program();
  const std::vector<ExclusionRule>& rules = program.Exclusions.Rules();
  if (form == ListForm::Names) {
    std::vector<std::u16string> names;
    for (const ExclusionRule& rule : rules) names.push_back(ShownName(rule.Desc));
    PrintNames(names);
    return kDone;
  }
  if (form == ListForm::Json) {
    nlohmann::json list = nlohmann::json::array();
    for (const ExclusionRule& rule : rules) {
      list.push_back({{"name", JsonText(rule.Desc)},
                      {"enabled", rule.Enabled},
                      {"drive", JsonText(rule.Drive)},
                      {"folder", JsonText(rule.Folder)},
                      {"file", JsonText(rule.File)}});
    }
    PrintJson({{"exclusions_enabled", program.Exclusions.ExcEnabled}, {"rules", list}});
    return kDone;
  }
  std::vector<std::vector<std::u16string>> rows{{u"#", std::u16string(TrIn("rule", u"排程名稱")),
                                                 TrCell(u"狀態"), TrCell(u"排除檔案"),
                                                 TrCell(u"排除目錄"), TrCell(u"指定磁碟")}};
  for (const ExclusionRule& rule : rules) {
    rows.push_back({Decimal(static_cast<std::int64_t>(rows.size())), ShownName(rule.Desc),
                    Shown(OnOffText(rule.Enabled)), rule.File, rule.Folder, rule.Drive});
  }
  PrintTable(rows);
  if (!program.Exclusions.ExcEnabled) {
    PrintError(Tr("exclusions are off: kavrelctl settings set ExcEnabled True switches them on"));
  }
  return kDone;
}

int AddRule(Session& session, const RuleOptions& options) {
  if (!session.Open(u"kavrelctl rules")) return session.Failure();
  ExclusionRule rule;
  rule.Enabled = !options.Disabled;
  rule.Desc = FromUtf8(options.Name);
  rule.Drive = FromUtf8(options.Drive);
  rule.Folder = FromUtf8(options.Folder);
  rule.File = FromUtf8(options.File);
  const std::u16string message = CheckRule(rule);
  if (!message.empty()) return Refuse(message);
  std::vector<ExclusionRule> rules = session.Program().Exclusions.Rules();
  rules.push_back(rule);
  return SaveRules(session, rules);
}

int ChangeRules(Session& session, RuleChange change, const std::vector<std::string>& named) {
  if (!session.Open(u"kavrelctl rules")) return session.Failure();
  std::vector<ExclusionRule> rules = session.Program().Exclusions.Rules();
  std::vector<std::size_t> places;
  for (const std::string& name : named) {
    const std::vector<std::size_t> found = RulesNamed(rules, name);
    if (found.empty()) {
      PrintError(
          Fill(Tr("there is no rule %1; rules list shows them"), {Printable(FromUtf8(name))}));
      return kBadInput;
    }
    places.insert(places.end(), found.begin(), found.end());
  }
  std::sort(places.rbegin(), places.rend());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  for (const std::size_t place : places) {
    if (change == RuleChange::Remove) {
      rules.erase(rules.begin() + static_cast<std::ptrdiff_t>(place));
    } else {
      rules[place].Enabled = change == RuleChange::Enable;
    }
  }
  return SaveRules(session, rules);
}

int ResetRules(Session& session) {
  if (!session.Open(u"kavrelctl rules")) return session.Failure();
  if (session.Program().Exclusions.RestoreDefaults()) return kDone;
  PrintError(Tr("the rules cannot be written: Exc.txt in the program folder"));
  return kSomeFailed;
}

int ListFilters(Session& session, ListForm form) {
  if (!session.Open()) return session.Failure();
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{{TrCell(u"副檔名備份清單"), TrCell(u"副檔名清單")}};
  std::vector<std::u16string> names;
  for (const FileFilter& filter : session.Program().Filters.Entries) {
    list.push_back({{"name", JsonText(filter.Name)}, {"patterns", JsonText(filter.Patterns)}});
    rows.push_back({ShownName(filter.Name), filter.Patterns});
    names.push_back(ShownName(filter.Name));
  }
  if (form == ListForm::Json) {
    PrintJson(list);
  } else if (form == ListForm::Names) {
    PrintNames(names);
  } else {
    PrintTable(rows);
  }
  return kDone;
}

int AddFilter(Session& session, const std::string& name, const std::string& patterns) {
  if (!session.Open(u"kavrelctl filters")) return session.Failure();
  const FileFilter filter{FromUtf8(name), FromUtf8(patterns)};
  const std::u16string message = CheckFilter(filter);
  if (!message.empty()) return Refuse(message);
  std::vector<FileFilter>& entries = session.Program().Filters.Entries;
  if (const FileFilter* known = FindShownFilter(session.Program().Filters, filter.Name)) {
    PrintError(
        Fill(Tr("there is a filter of that name already: %1"), {PrintableName(known->Name)}));
    return kBadInput;
  }
  entries.push_back(filter);
  return SaveFilterTable(session);
}

int RemoveFilters(Session& session, const std::vector<std::string>& names) {
  if (!session.Open(u"kavrelctl filters")) return session.Failure();
  FilterTable& filters = session.Program().Filters;
  for (const std::string& name : names) {
    const FileFilter* known = FindShownFilter(filters, FromUtf8(name));
    // The first one stands for all files.
    if (!known || known == &filters.Entries.front()) {
      PrintError(Fill(Tr("no such filter: %1"), {Printable(FromUtf8(name))}));
      return kBadInput;
    }
    filters.Entries.erase(filters.Entries.begin() + (known - filters.Entries.data()));
  }
  return SaveFilterTable(session);
}

int GetSettings(Session& session, const std::string& name, bool json) {
  if (!session.Open()) return session.Failure();
  const Settings& settings = session.Program().Preferences;
  const SettingInfo* only = name.empty() ? nullptr : FindSetting(FromUtf8(name));
  if (!only && !name.empty()) {
    PrintError(Fill(Tr("no such setting: %1"), {Printable(FromUtf8(name))}));
    return kBadInput;
  }
  nlohmann::json values = nlohmann::json::object();
  for (const SettingInfo& setting : AllSettings()) {
    if (only && setting.Name != only->Name) continue;
    const std::string text = ToUtf8(settings.TextOf(setting));
    if (json) {
      const std::u16string value = FromUtf8(text);
      values[ToUtf8(setting.Name)] = setting.Last > 0 ? nlohmann::json(ParseInt(value).value_or(0))
                                     : setting.Last == 0 ? nlohmann::json(ParseBool(value) == true)
                                                         : nlohmann::json(text);
    } else {
      std::printf("%s%s\n", only ? "" : (ToUtf8(setting.Name) + "=").c_str(), text.c_str());
    }
  }
  if (json) PrintJson({{"settings", std::move(values)}});
  return kDone;
}

namespace {

/// What a setting takes.
std::string TakenBy(const SettingInfo& setting) {
  if (setting.Last > 0) return Fill(Tr("0 to %1"), {std::to_string(setting.Last)});
  if (setting.Last == 0) return Tr("True or False");
  std::string codes;
  for (const Language& language : Languages()) {
    if (!codes.empty()) codes += ", ";
    codes += language.Code;
  }
  return Fill(Tr("%1 or nothing"), {codes});
}

}  // namespace

int SetSetting(Session& session, const std::string& name, const std::string& value) {
  if (!session.Open(u"kavrelctl settings")) return session.Failure();
  const SettingInfo* setting = FindSetting(FromUtf8(name));
  if (!setting) {
    PrintError(Fill(Tr("no such setting: %1"), {Printable(FromUtf8(name))}));
    return kBadInput;
  }
  if (!TakesValue(*setting, FromUtf8(value))) {
    PrintError(Fill(Tr("%1 takes %2"), {ToUtf8(setting->Name), TakenBy(*setting)}));
    return kBadInput;
  }
  // The switch and the desktop's own entry go together.
  const std::optional<bool> on = ParseBool(FromUtf8(value));
  if (setting->Name == u"Morlund" && on) session.Program().SetAutostart(*on);
  if (session.Program().Preferences.SetText(*setting, FromUtf8(value))) return kDone;
  PrintError(Fill(Tr("the settings cannot be written: %1"),
                  {Printable(session.Program().Preferences.Path())}));
  return kSomeFailed;
}

int ExpandPath(Session& session, const std::string& path) {
  std::printf("%s\n",
              Printable(ExpandDateTokens(AbsolutePath(FromUtf8(path)), session.Clock())).c_str());
  return kDone;
}

}  // namespace kavrel
