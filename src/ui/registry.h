#pragma once
// The registry of the singleton screens.
//
// Every screen is one instance behind `Form::instance()`, created at first touch. A form
// derives from ui::Singleton<Form> and befriends it (its constructor and destructor stay
// private). The registry remembers the order in which screens were created; discardAll()
// destroys them newest first, which is what the program does at its end and what every test
// fixture does after a test. A screen destroyed in another way (by discard(), or with a parent
// widget) leaves the registry by itself, and the next touch creates it anew.
//
// A constructor never creates another screen: screens that need each other meet through
// static registrations (WatchedStation, the station lists) or at run time. Touching another
// screen's instance() from inside a constructor raises std::logic_error.

namespace xl::ui {

namespace detail {
void remember(const void* key, void (*discard)());
void forget(const void* key);
void beginConstruction();
void endConstruction();
}  // namespace detail

// Destroys every screen that exists, the newest first.
void discardAll();
// Number of screens that exist.
int screenCount();

template <class Form>
class Singleton {
 public:
  static Form& instance() {
    if (!form_) {
      detail::beginConstruction();
      struct End {
        ~End() { detail::endConstruction(); }
      } end;
      form_ = new Form();
      detail::remember(&form_, &Singleton::discard);
    }
    return *form_;
  }
  static bool exists() { return form_ != nullptr; }
  static void discard() { delete form_; }

 protected:
  Singleton() = default;
  ~Singleton() {
    form_ = nullptr;
    detail::forget(&form_);
  }

 private:
  static inline Form* form_ = nullptr;
};

}  // namespace xl::ui
