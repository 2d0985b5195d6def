// std::thread on threads of Wine. A thread of Linux that Wine does not know crashes in its first
// call of Windows. These functions replace those of the C++ library.
#include <cstring>
#include <system_error>
#include <thread>

namespace {

// The handle of a thread is stored where the C++ library stores its own.
HANDLE TakeHandle(std::thread::id* id) {
  HANDLE handle = nullptr;
  static_assert(sizeof *id == sizeof handle);
  std::memcpy(&handle, static_cast<void*>(id), sizeof handle);
  *id = {};
  return handle;
}

}  // namespace

void std::thread::_M_start_thread(_State_ptr state, void (*)()) {
  struct Start {  // declared here, where the private name of the state is accessible
    static DWORD WINAPI Run(void* parameter) {
      const _State_ptr state(static_cast<_State*>(parameter));
      state->_M_run();
      return 0;
    }
  };
  HANDLE handle = ::CreateThread(nullptr, 0, Start::Run, state.get(), 0, nullptr);
  if (handle == nullptr) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  }
  static_cast<void>(state.release());
  std::memcpy(static_cast<void*>(&_M_id), &handle, sizeof handle);
  // cppcheck-suppress resourceLeak ; join or detach closes it
}

void std::thread::join() {
  HANDLE handle = TakeHandle(&_M_id);
  ::WaitForSingleObject(handle, INFINITE);
  ::CloseHandle(handle);
}

void std::thread::detach() { ::CloseHandle(TakeHandle(&_M_id)); }
