/// What is asked: a record base, alone or as an ldb file names it, or a word index.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dare/dare_datamanager.h"
#include "svcpp/sorvanta.h"
#include "tera/tera_edit.h"

/// A field of a session.
struct TargetField {
  std::string name;
  std::string method;  // empty where there is none
  bool isShown;        // it is a field of the base
};

class Target {
 public:
  /// Told by content. Throws a `Failure` for what is none of these, or cannot be read.
  explicit Target(const std::string& file);
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  const std::string& get_file_name() const { return fileName; }
  bool has_words() const { return wordIndex != nullptr; }
  const TeraEdit& get_words() const { return *wordIndex; }

  // Of a base.

  /// Each thread needs one of its own.
  SorvantaSession make_session();
  /// In the order of the session.
  const std::vector<TargetField>& get_fields() const { return sessionFields; }
  std::vector<std::string> get_field_names() const;
  /// The index of a field, by its name, or one that is it but for capitals and signs. Throws a `Failure` for
  /// a name that is none.
  std::size_t find_field(const std::string& name) const;
  /// Records are decided on, not only weighed.
  bool has_rules() const { return hasRules; }

 private:
  void load_base(const std::string& file);
  void load_ldb(const std::string& file);

  struct Release {
    void operator()(DastBase* base) const;
  };

  std::string fileName;
  std::unique_ptr<DastBase, Release> recordBase;  // null for an ldb file; goes after its sessions
  SorvantaManager manager;
  DareDataManager dataManager;
  std::unique_ptr<TeraEdit> wordIndex;
  std::vector<TargetField> sessionFields;
  bool hasRules = false;
};
