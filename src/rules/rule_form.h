// What a user enters for an exclusion rule, and how it becomes one.
#pragma once

#include <string>

#include "rules/exclusion_rules.h"

namespace kavrel {

struct RuleForm {
  enum class FolderChoice { All, Named, Matching, Root };
  enum class FileChoice { All, Named, Matching };

  std::u16string Desc;
  bool Enabled = false;
  bool AllDrives = true;
  std::u16string Drive;
  FolderChoice Folders = FolderChoice::All;
  std::u16string FolderName, FolderPath;  ///< for Named and for Matching
  FileChoice Files = FileChoice::All;
  std::u16string FileName, FilePattern;  ///< for Named and for Matching
};

enum class RuleCheck { Ok, File, Folder, Drive, Name };

/// What is wrong with a form, and the message that tells it.
struct RuleResult {
  RuleCheck Check = RuleCheck::Ok;
  std::u16string Message;
};

/// The form that shows a rule: a pattern with a character that no name may have is a pattern.
RuleForm FormOf(const ExclusionRule& rule);

/// Checks file, folder, drive and name in this order; when all is well, writes the form into
/// `rule`.
RuleResult ApplyForm(const RuleForm& form, ExclusionRule& rule);

/// A pattern as the editor's list shows it: "*" and an empty one are "* ( 全部 )".
std::u16string_view PatternText(std::u16string_view pattern);

}  // namespace kavrel
