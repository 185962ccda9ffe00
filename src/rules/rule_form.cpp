#include "rules/rule_form.h"

#include "base/text.h"
#include "rules/rule_check.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kEverything = u"*", kRoot = u"\\";

bool IsEverything(std::u16string_view pattern) {
  return pattern == kEverything || pattern == kEverythingShown || pattern.empty();
}

RuleResult CheckFile(const RuleForm& form, ExclusionRule& rule) {
  const bool named = form.Files == RuleForm::FileChoice::Named;
  if (form.Files == RuleForm::FileChoice::All) {
    rule.File = kEverything;
    return {};
  }
  rule.File = Trim(named ? form.FileName : form.FilePattern);
  const std::u16string message =
      CheckRuleFile(rule.File, named ? kForbiddenInFileName : kForbiddenInFilePattern);
  return {message.empty() ? RuleCheck::Ok : RuleCheck::File, message};
}

RuleResult CheckFolder(const RuleForm& form, ExclusionRule& rule) {
  using Choice = RuleForm::FolderChoice;
  if (form.Folders == Choice::All || form.Folders == Choice::Root) {
    rule.Folder = form.Folders == Choice::All ? kEverything : kRoot;
    return {};
  }
  const bool named = form.Folders == Choice::Named;
  rule.Folder = Trim(named ? form.FolderName : form.FolderPath);
  const std::u16string message =
      CheckRuleFolder(rule.Folder, named ? kForbiddenInFolderName : kForbiddenInFolderPath);
  return {message.empty() ? RuleCheck::Ok : RuleCheck::Folder, message};
}

}  // namespace

RuleForm FormOf(const ExclusionRule& rule) {
  RuleForm form;
  form.Desc = rule.Desc;
  form.Enabled = rule.Enabled;
  form.AllDrives = IsEverything(rule.Drive);
  if (!form.AllDrives) form.Drive = rule.Drive;
  if (rule.Folder == kRoot) {
    form.Folders = RuleForm::FolderChoice::Root;
  } else if (!IsEverything(rule.Folder)) {
    const bool named = rule.Folder.find_first_of(kForbiddenInFolderName) == rule.Folder.npos;
    form.Folders = named ? RuleForm::FolderChoice::Named : RuleForm::FolderChoice::Matching;
    (named ? form.FolderName : form.FolderPath) = rule.Folder;
  }
  if (!IsEverything(rule.File)) {
    const bool named = rule.File.find_first_of(kForbiddenInFileName) == rule.File.npos;
    form.Files = named ? RuleForm::FileChoice::Named : RuleForm::FileChoice::Matching;
    (named ? form.FileName : form.FilePattern) = rule.File;
  }
  return form;
}

RuleResult ApplyForm(const RuleForm& form, ExclusionRule& rule) {
  ExclusionRule made = rule;
  RuleResult result = CheckFile(form, made);
  if (result.Check == RuleCheck::Ok) result = CheckFolder(form, made);
  if (result.Check != RuleCheck::Ok) return result;
  made.Drive = form.AllDrives ? kEverything : Trim(form.Drive);
  std::u16string message = CheckRuleDrive(made);
  if (!message.empty()) return {RuleCheck::Drive, message};
  message = CheckRuleName(form.Desc);
  if (!message.empty()) return {RuleCheck::Name, message};
  made.Desc = form.Desc;
  made.Enabled = form.Enabled;
  rule = std::move(made);
  return {};
}

std::u16string_view PatternText(std::u16string_view pattern) {
  return IsEverything(pattern) ? kEverythingShown : pattern;
}

}  // namespace kavrel
