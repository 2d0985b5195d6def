// Paths against a model that takes them apart into components.
//
// Input: a byte each for two separators and for the length of a name, the name, the path's text.
#include <string>
#include <vector>

#include "input.h"
#include "tessel/config/storage_path.h"

namespace {

using fuzz::Expect;
using tessel::config::StoragePath;

/// What stands between the separators, without what is empty.
std::vector<std::wstring> Components(const std::wstring& text, wchar_t separator) {
  std::vector<std::wstring> components = {L""};
  for (const wchar_t character : text) {
    if (character == separator) {
      components.emplace_back();
    } else {
      components.back() += character;
    }
  }
  std::erase(components, L"");
  return components;
}

std::wstring Joined(const std::vector<std::wstring>& components, wchar_t separator) {
  std::wstring text;
  for (const std::wstring& component : components) {
    text += (text.empty() ? L"" : std::wstring(1, separator)) + component;
  }
  return text;
}

bool Is(const StoragePath& path, const std::wstring& text, wchar_t separator) {
  return path.Text() == text && path.Separator() == separator && path.Empty() == text.empty();
}

/// Holds for every path, normalised or not.
void CheckParts(const StoragePath& path) {
  const std::wstring name = path.ValueName();
  const StoragePath key = path.KeyPath();
  const wchar_t separator = path.Separator();
  Expect(key.Separator() == separator, "the key path keeps the separator");
  Expect(name.find(separator) == std::wstring::npos, "a name holds no separator");
  if (path.Text().find(separator) == std::wstring::npos) {
    Expect(key.Empty() && name == path.Text(), "a text without separator is a name");
  } else {
    Expect(key.Text() + separator + name == path.Text(), "key path and name make up the path");
  }
}

void CheckRetargeted(const StoragePath& path, wchar_t target) {
  const StoragePath retargeted = path.WithSeparator(target);
  std::wstring text;
  for (const wchar_t character : path.Text()) {
    text += character == path.Separator() ? target : character;
  }
  Expect(Is(retargeted, text, target), "each separator is replaced, nothing else");
  Expect((retargeted == path) == (target == path.Separator()), "paths compare with separators");
  CheckParts(retargeted);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  // Most inputs are about the separators that are in use.
  const std::wstring separators = fuzz::ToText(input.TakeBytes(2)) + L"/\\";
  const wchar_t separator = separators[0];
  const std::wstring name = fuzz::ToText(input.TakeBytes(input.TakeByte() % 32));
  const std::wstring text = fuzz::ToText(input.TakeRest());

  const StoragePath path(text, separator);
  std::vector<std::wstring> components = Components(text, separator);
  Expect(Is(path, Joined(components, separator), separator), "a path is normalised");
  Expect(StoragePath(path.Text(), separator) == path, "normalising twice changes nothing more");
  CheckParts(path);
  CheckRetargeted(path, separators[1]);

  // A re-targeted path is normalised when it is joined.
  for (const StoragePath& base : {path, path.WithSeparator(separators[1])}) {
    std::vector<std::wstring> joined = Components(base.Text(), base.Separator());
    for (const std::wstring& component : Components(name, base.Separator())) {
      joined.push_back(component);
    }
    Expect(Is(base.Join(name), Joined(joined, base.Separator()), base.Separator()),
           "joining adds the name's components");
  }

  if (!components.empty()) {
    Expect(path.ValueName() == components.back(), "the last component is the name");
    components.pop_back();
    Expect(Is(path.KeyPath(), Joined(components, separator), separator), "the others are the key");
  }
  return 0;
}
