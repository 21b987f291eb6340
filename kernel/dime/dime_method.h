/// What all methods with recall options of their own have in common.
///
/// `Method` is the class itself, with its NAME, its MAGIC, and RECONFIGURE, the call that is reported when it
/// is to be configured like a method of another class. `RecallOptions` has `apply(text)`, which parses, and
/// `configure(other)`. `Base` is the interface, or a method that this one extends.
#pragma once

#include "ace/ace_error.h"
#include "ace/ace_magic.h"
#include "dast/dast_base_method.h"

template <class Method, class RecallOptions, class Base = DastBaseMethod>
class SORV_API DimeMethod : public Base {
 public:
  int magic() const override { return magic_number(Method::MAGIC); }
  const char* get_name() const override { return Method::NAME; }

  int configure_recall_options(const char* options) override { return recallOpts.apply(options); }
  int reconfigure(const DastBaseMethod* other) override {
    return reconfigure(static_cast<const DastDetectorInterface*>(other));
  }
  int reconfigure(const DastDetectorInterface* other) override {
    const auto* config_method = dynamic_cast<const Method*>(other);
    if (config_method == nullptr) return ace_error(__FILE__, __LINE__, Method::RECONFIGURE, -1, 0, -1);
    recallOpts.configure(config_method->recallOpts);
    return 0;
  }
  const RecallOptions& get_recall_options() const { return recallOpts; }

 protected:
  RecallOptions recallOpts;
};
