// A callable that is lent for the duration of a call.
#pragma once

#include <type_traits>
#include <utility>

namespace ravd {

template <typename Signature>
class function_ref;

// Two words, for parameters: what is called back before the function returns needs neither a copy nor its code, as
// std::function has them. Never kept. Made of objects that can be called as const, not of functions.
template <typename Result, typename... Arguments>
class function_ref<Result(Arguments...)> {
  public:
    template <typename Callable, typename = std::enable_if_t<!std::is_same_v<Callable, function_ref>>>
    function_ref(const Callable& callable)
        : object_(&callable), call_([](const void* object, Arguments... arguments) -> Result {
              return (*static_cast<const Callable*>(object))(std::forward<Arguments>(arguments)...);
          }) {}

    Result operator()(Arguments... arguments) const { return call_(object_, std::forward<Arguments>(arguments)...); }

  private:
    const void* object_;
    Result (*call_)(const void* object, Arguments... arguments);
};

}  // namespace ravd
