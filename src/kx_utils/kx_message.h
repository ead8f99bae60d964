// kx_message.h: the only code that prints a message. A message is data (kx_messages.h); where it goes and whether it
// is flushed is the verb.
//
//   kx_say            standard error, flushed           kx_trace   the same, in a verbose run only
//   kx_say_unflushed  standard error, not flushed       kx_print   any stream, not flushed
//   kx_fail, kx_fail_unflushed        the same, giving the status 1
#pragma once

#include <cstdio>
#include <type_traits>

#include "kx_utils/kx_locale.h"
#include "kx_utils/kx_progress.h"
#include "orkan/kx_run_state.h"

namespace orkan {

/// Deliberately not constexpr: calling it while a message is checked stops the compilation.
void wording_disagrees_with_arguments();

/// The printf conversion of an argument type, behind flags and width: "ld", "s", "c" or "f".
template <class T> consteval const char *conversion_of() {
    if constexpr (std::is_same_v<T, kx_i64>) {
        return "ld";
    } else if constexpr (std::is_same_v<T, const char *>) {
        return "s";
    } else if constexpr (std::is_same_v<T, char>) {
        return "c";
    } else {
        static_assert(std::is_same_v<T, double>);
        return "f";
    }
}

/// One message: both wordings, checked at compile time to take exactly these arguments in this order.
template <class... Args> class kx_message {
  public:
    consteval kx_message(const char *english, const char *japanese) : english_(english), japanese_(japanese) {
        check(english);
        check(japanese);
    }
    /// A text that is the same in every locale.
    consteval explicit kx_message(const char *text) : kx_message(text, text) {}

    [[nodiscard]] const char *text() const { return kx_IsJapaneseLocale() != 0 ? japanese_ : english_; }

    /// The same message, always in its Japanese wording.
    [[nodiscard]] constexpr kx_message japanese_only() const {
        kx_message japanese = *this;
        japanese.english_ = japanese_;
        return japanese;
    }

  private:
    static consteval void check(const char *text) {
        ((text = behind_conversion(text, conversion_of<Args>())), ...);
        for (; *text != '\0'; ++text) {
            if (*text == '%') {
                wording_disagrees_with_arguments();
            }
        }
    }
    static consteval const char *behind_conversion(const char *text, const char *conversion) {
        while (*text != '\0' && *text != '%') {
            ++text;
        }
        if (*text == '\0') {
            wording_disagrees_with_arguments();
        }
        ++text;
        while ((*text >= '0' && *text <= '9') || *text == '.') {
            ++text;
        }
        for (; *conversion != '\0'; ++text, ++conversion) {
            if (*text != *conversion) {
                wording_disagrees_with_arguments();
            }
        }
        return text;
    }

    const char *english_;
    const char *japanese_;
};

/// A text argument as printed: null as "(null)".
inline const char *printable(const char *text) { return text != nullptr ? text : "(null)"; }
template <class T> T printable(T value) { return value; }

template <class... Args>
void kx_print(std::FILE *to, const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    kx_progress_step_aside();
    if constexpr (sizeof...(Args) == 0) {
        std::fputs(message.text(), to);
    } else {
        std::fprintf(to, message.text(), printable(args)...);
    }
}

template <class... Args> void kx_say_unflushed(const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    kx_print(stderr, message, args...);
}

template <class... Args> void kx_say(const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    kx_print(stderr, message, args...);
    std::fflush(stderr);
}

template <class... Args> int kx_fail(const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    kx_say(message, args...);
    return 1;
}

template <class... Args> int kx_fail_unflushed(const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    kx_say_unflushed(message, args...);
    return 1;
}

template <class... Args> void kx_trace(const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    if (VERBOSE != 0) {
        kx_say(message, args...);
    }
}

} // namespace orkan
