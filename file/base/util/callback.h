// Single-argument callbacks handed to the library.
#ifndef FILE_BASE_CALLBACK_H_
#define FILE_BASE_CALLBACK_H_

#include <functional>
#include <utility>

template <class Arg>
class Callback1 {
 public:
  virtual ~Callback1() = default;
  virtual void Run(Arg arg) = 0;
};

// A Callback1 that calls a function object; it stays valid after running.
template <class Arg>
class FunctionCallback1 : public Callback1<Arg> {
 public:
  explicit FunctionCallback1(std::function<void(Arg)> f) : f_(std::move(f)) {}
  void Run(Arg arg) override { f_(arg); }

 private:
  std::function<void(Arg)> f_;
};

#endif  // FILE_BASE_CALLBACK_H_
