#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "base/number.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "platform/folders.h"
#include "rules/date_tokens.h"
#include "rules/rule_check.h"

namespace kavrel {

namespace {

int SaveRules(Session& session, const std::vector<ExclusionRule>& rules) {
  if (session.Program().Exclusions.SaveExclusions(rules)) return kDone;
  PrintError("the rules cannot be written: Exc.txt in the program folder");
  return kBadInput;
}

int SaveFilterTable(Session& session) {
  const int error = session.Program().Filters.SaveFilters();
  if (error == 0) return kDone;
  PrintError("副檔名清單無法儲存\n錯誤代碼：" + ToUtf8(SystemErrorText(error)));
  return kBadInput;
}

int Refuse(const std::u16string& message) {
  PrintError(Printable(message));
  return kBadInput;
}

}  // namespace

int ListRules(Session& session, bool json) {
  if (!session.Open()) return kBadInput;
  const Program& program = session.Program();
  const std::vector<ExclusionRule>& rules = program.Exclusions.Rules();
  if (json) {
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
  std::vector<std::vector<std::u16string>> rows{
      {u"#", u"排程名稱", u"狀態", u"排除檔案", u"排除目錄", u"指定磁碟"}};
  for (const ExclusionRule& rule : rules) {
    rows.push_back({Decimal(static_cast<std::int64_t>(rows.size())), rule.Desc,
                    std::u16string(OnOffText(rule.Enabled)), rule.File, rule.Folder, rule.Drive});
  }
  PrintTable(rows);
  if (!program.Exclusions.ExcEnabled) {
    PrintError("exclusions are off: kavrelctl settings set ExcEnabled True switches them on");
  }
  return kDone;
}

int AddRule(Session& session, const RuleOptions& options) {
  if (!session.Open(u"kavrelctl rules")) return kBadInput;
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

int ChangeRules(Session& session, RuleChange change, const std::vector<std::size_t>& numbers) {
  if (!session.Open(u"kavrelctl rules")) return kBadInput;
  std::vector<ExclusionRule> rules = session.Program().Exclusions.Rules();
  std::vector<std::size_t> last_first = numbers;
  std::sort(last_first.rbegin(), last_first.rend());
  last_first.erase(std::unique(last_first.begin(), last_first.end()), last_first.end());
  for (const std::size_t number : last_first) {
    if (number < 1 || number > rules.size()) {
      PrintError("there is no rule " + std::to_string(number) + ": there are " +
                 std::to_string(rules.size()));
      return kBadInput;
    }
    if (change == RuleChange::Remove) {
      rules.erase(rules.begin() + static_cast<std::ptrdiff_t>(number) - 1);
    } else {
      rules[number - 1].Enabled = change == RuleChange::Enable;
    }
  }
  return SaveRules(session, rules);
}

int ResetRules(Session& session) {
  if (!session.Open(u"kavrelctl rules")) return kBadInput;
  if (session.Program().Exclusions.RestoreDefaults()) return kDone;
  PrintError("the rules cannot be written: Exc.txt in the program folder");
  return kBadInput;
}

int ListFilters(Session& session, bool json) {
  if (!session.Open()) return kBadInput;
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{{u"副檔名備份清單", u"副檔名清單"}};
  for (const FileFilter& filter : session.Program().Filters.Entries) {
    list.push_back({{"name", JsonText(filter.Name)}, {"patterns", JsonText(filter.Patterns)}});
    rows.push_back({filter.Name, filter.Patterns});
  }
  if (json) {
    PrintJson(list);
  } else {
    PrintTable(rows);
  }
  return kDone;
}

int AddFilter(Session& session, const std::string& name, const std::string& patterns) {
  if (!session.Open(u"kavrelctl filters")) return kBadInput;
  const FileFilter filter{FromUtf8(name), FromUtf8(patterns)};
  const std::u16string message = CheckFilter(filter);
  if (!message.empty()) return Refuse(message);
  std::vector<FileFilter>& entries = session.Program().Filters.Entries;
  const auto known = std::find_if(entries.begin(), entries.end(), [&](const FileFilter& entry) {
    return EqualNoCase(entry.Name, filter.Name);
  });
  if (known != entries.end()) {
    PrintError("there is a filter of that name already: " + Printable(known->Name));
    return kBadInput;
  }
  entries.push_back(filter);
  return SaveFilterTable(session);
}

int RemoveFilter(Session& session, const std::string& name) {
  if (!session.Open(u"kavrelctl filters")) return kBadInput;
  std::vector<FileFilter>& entries = session.Program().Filters.Entries;
  const auto known = std::find_if(entries.begin() + 1, entries.end(), [&](const FileFilter& entry) {
    return EqualNoCase(entry.Name, FromUtf8(name));
  });
  if (known == entries.end()) {
    PrintError("no such filter: " + Printable(FromUtf8(name)));
    return kBadInput;
  }
  entries.erase(known);
  return SaveFilterTable(session);
}

int GetSettings(Session& session, const std::string& name) {
  if (!session.Open()) return kBadInput;
  const Settings& settings = session.Program().Settings;
  if (name.empty()) {
    for (const SettingInfo& setting : AllSettings()) {
      std::printf("%s=%s\n", ToUtf8(setting.Name).c_str(),
                  ToUtf8(settings.TextOf(setting)).c_str());
    }
    return kDone;
  }
  const SettingInfo* setting = FindSetting(FromUtf8(name));
  if (!setting) {
    PrintError("no such setting: " + Printable(FromUtf8(name)));
    return kBadInput;
  }
  std::printf("%s\n", ToUtf8(settings.TextOf(*setting)).c_str());
  return kDone;
}

int SetSetting(Session& session, const std::string& name, const std::string& value) {
  if (!session.Open(u"kavrelctl settings")) return kBadInput;
  const SettingInfo* setting = FindSetting(FromUtf8(name));
  if (!setting) {
    PrintError("no such setting: " + Printable(FromUtf8(name)));
    return kBadInput;
  }
  // The switch and the desktop's own entry go together.
  const std::optional<bool> on = ParseBool(FromUtf8(value));
  if (setting->Name == u"Morlund" && on) session.Program().SetAutostart(*on);
  if (session.Program().Settings.SetText(*setting, FromUtf8(value))) return kDone;
  PrintError(ToUtf8(setting->Name) + " takes " +
             (setting->Last > 0 ? "0 to " + std::to_string(setting->Last) : "True or False") +
             ", or the settings file cannot be written");
  return kBadInput;
}

int ExpandPath(Session& session, const std::string& path) {
  std::printf("%s\n",
              Printable(ExpandDateTokens(AbsolutePath(FromUtf8(path)), session.Clock())).c_str());
  return kDone;
}

}  // namespace kavrel
