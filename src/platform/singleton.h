#pragma once
// Every screen is a singleton: one instance, created at first touch and reused from then on.
// A form derives from Singleton<Form> and befriends it (its constructor and destructor stay
// private). When the form is destroyed, by discard() or by a parent widget, the next touch
// creates it anew.

namespace xl::platform {

template <class Form>
class Singleton {
 public:
  static Form& instance() {
    if (!form_) form_ = new Form();
    return *form_;
  }
  static bool exists() { return form_ != nullptr; }
  static void discard() { delete form_; }

 protected:
  Singleton() = default;
  ~Singleton() { form_ = nullptr; }

 private:
  static inline Form* form_ = nullptr;
};

}  // namespace xl::platform
