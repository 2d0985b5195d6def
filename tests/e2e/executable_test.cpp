// The resources and headers of the product's programs: what they tell about them, and what they ask
// of the platform.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "tool.h"

namespace end_to_end {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The programs beside this one, or the one that the environment names: that of a package.
std::vector<std::wstring> Executables() {
  std::wstring other(32'767, L'\0');
  other.resize(::GetEnvironmentVariableW(L"OSTREL_EXECUTABLE", other.data(),
                                         static_cast<DWORD>(other.size())));
  if (!other.empty()) {
    return {other};
  }
  const std::wstring directory = ProgramDirectory() + L'\\';
  return {directory + L"ostrel.exe", directory + L"ostrel_list_settings.exe",
          directory + L"ostrel_watch_settings.exe"};
}

/// The file as it lies on the disk, by its own headers.
class Image {
 public:
  explicit Image(const std::wstring& executable) {
    std::ifstream file(std::filesystem::path(executable), std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    headers_ = At<IMAGE_NT_HEADERS64>(static_cast<std::uint32_t>(At<IMAGE_DOS_HEADER>(0).e_lfanew));
    const std::size_t table = static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0).e_lfanew) +
                              offsetof(IMAGE_NT_HEADERS64, OptionalHeader) +
                              headers_.FileHeader.SizeOfOptionalHeader;
    for (std::size_t index = 0; index < headers_.FileHeader.NumberOfSections; ++index) {
      sections_.push_back(At<IMAGE_SECTION_HEADER>(table + index * sizeof(IMAGE_SECTION_HEADER)));
    }
  }

  [[nodiscard]] const std::string& Bytes() const { return bytes_; }
  [[nodiscard]] const IMAGE_NT_HEADERS64& Headers() const { return headers_; }
  [[nodiscard]] const std::vector<IMAGE_SECTION_HEADER>& Sections() const { return sections_; }

  /// The libraries that the platform loads with it, in lower case.
  [[nodiscard]] std::vector<std::string> Libraries() const {
    std::vector<std::string> names;
    const auto& directory = headers_.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (std::size_t place = Place(directory.VirtualAddress);;
         place += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
      const auto library = At<IMAGE_IMPORT_DESCRIPTOR>(place);
      if (library.Name == 0) {
        return names;
      }
      std::string name = &bytes_.at(Place(library.Name));
      std::ranges::transform(name, name.begin(), [](unsigned char character) {
        return static_cast<char>(std::tolower(character));
      });
      names.push_back(name);
    }
  }

 private:
  template <class Structure>
  [[nodiscard]] Structure At(std::size_t place) const {
    Structure structure{};
    if (place + sizeof structure > bytes_.size()) {
      throw std::out_of_range("behind the end of the file");
    }
    std::memcpy(&structure, bytes_.data() + place, sizeof structure);
    return structure;
  }

  /// Where in the file an address of the loaded program lies.
  [[nodiscard]] std::size_t Place(std::uint32_t address) const {
    for (const IMAGE_SECTION_HEADER& section : sections_) {
      if (address >= section.VirtualAddress &&
          address - section.VirtualAddress < section.SizeOfRawData) {
        return address - section.VirtualAddress + section.PointerToRawData;
      }
    }
    throw std::out_of_range("in no section");
  }

  std::string bytes_;
  IMAGE_NT_HEADERS64 headers_{};
  std::vector<IMAGE_SECTION_HEADER> sections_;
};

class VersionInformation {
 public:
  explicit VersionInformation(const std::wstring& executable)
      : bytes_(::GetFileVersionInfoSizeW(executable.c_str(), nullptr)) {
    EXPECT_FALSE(bytes_.empty());
    EXPECT_TRUE(::GetFileVersionInfoW(executable.c_str(), 0, static_cast<DWORD>(bytes_.size()),
                                      bytes_.data()));
  }

  /// A text of the American English block; empty when it is missing.
  [[nodiscard]] std::string Text(const std::wstring& name) const {
    void* text = nullptr;
    UINT length = 0;
    if (!::VerQueryValueW(bytes_.data(), (L"\\StringFileInfo\\040904b0\\" + name).c_str(), &text,
                          &length)) {
      return "";
    }
    return Utf8(static_cast<const wchar_t*>(text));
  }

  [[nodiscard]] VS_FIXEDFILEINFO Numbers() const {
    void* numbers = nullptr;
    UINT length = 0;
    EXPECT_TRUE(::VerQueryValueW(bytes_.data(), L"\\", &numbers, &length));
    VS_FIXEDFILEINFO result{};
    EXPECT_EQ(length, sizeof result);
    std::memcpy(&result, numbers, sizeof result);
    return result;
  }

 private:
  std::vector<std::uint8_t> bytes_;
};

std::string Manifest(const std::wstring& executable) {
  struct LibraryReleaser {
    using pointer = HMODULE;
    void operator()(HMODULE library) const { ::FreeLibrary(library); }
  };
  const std::unique_ptr<HMODULE, LibraryReleaser> library(
      ::LoadLibraryExW(executable.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
  // The number by which the platform finds the manifest of a program, and the type of manifests.
  const HRSRC resource = ::FindResourceW(library.get(), MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
  if (resource == nullptr) {
    return "";
  }
  const void* const data = ::LockResource(::LoadResource(library.get(), resource));
  return {static_cast<const char*>(data), ::SizeofResource(library.get(), resource)};
}

std::string Dotted(DWORD high, DWORD low) {
  return std::to_string(HIWORD(high)) + '.' + std::to_string(LOWORD(high)) + '.' +
         std::to_string(HIWORD(low)) + '.' + std::to_string(LOWORD(low));
}

const std::map<std::string, std::string> kDescriptions = {
    {"ostrel", "The tool for telemetry service"},
    {"ostrel_list_settings", "The settings of the telemetry service in both layouts"},
    {"ostrel_watch_settings", "The changes of the telemetry service's settings"},
};

TEST(ExecutableTest, NamesItsMakerProductAndVersion) {
  for (const std::wstring& executable : Executables()) {
    SCOPED_TRACE(Utf8(executable));
    const VersionInformation version(executable);
    EXPECT_EQ(version.Text(L"CompanyName"), "Kestrane, Inc.");
    EXPECT_EQ(version.Text(L"ProductName"), "ostrel");
    const std::filesystem::path file(executable);
    EXPECT_EQ(version.Text(L"FileDescription"), kDescriptions.at(file.stem().string()));
    EXPECT_EQ(version.Text(L"OriginalFilename"), file.filename().string());
    EXPECT_EQ(version.Text(L"InternalName"), file.stem().string());
    EXPECT_EQ(version.Text(L"FileVersion"), OSTREL_VERSION);
    EXPECT_EQ(version.Text(L"ProductVersion"), OSTREL_VERSION);

    const VS_FIXEDFILEINFO numbers = version.Numbers();
    EXPECT_EQ(Dotted(numbers.dwFileVersionMS, numbers.dwFileVersionLS), OSTREL_VERSION ".0");
    EXPECT_EQ(Dotted(numbers.dwProductVersionMS, numbers.dwProductVersionLS), OSTREL_VERSION ".0");
    EXPECT_EQ(numbers.dwFileFlags, 0U);
    EXPECT_EQ(numbers.dwFileType, static_cast<DWORD>(VFT_APP));
  }
}

TEST(ExecutableTest, AsksForUtf8AndForNoElevation) {
  for (const std::wstring& executable : Executables()) {
    SCOPED_TRACE(Utf8(executable));
    const std::string manifest = Manifest(executable);
    EXPECT_THAT(manifest,
                HasSubstr("<requestedExecutionLevel level=\"asInvoker\" uiAccess=\"false\"/>"));
    EXPECT_THAT(
        manifest,
        HasSubstr("<activeCodePage xmlns=\"http://schemas.microsoft.com/SMI/2019/WindowsSettings\">"
                  "UTF-8</activeCodePage>"));
    EXPECT_THAT(manifest,
                HasSubstr("<supportedOS Id=\"{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}\"/>"));
    EXPECT_THAT(manifest, HasSubstr("name=\"" + std::filesystem::path(executable).stem().string() +
                                    "\" version=\"" OSTREL_VERSION ".0\""));
  }
}

TEST(ExecutableTest, NeedsNoLibraryBeyondThePlatformsOwn) {
  for (const std::wstring& executable : Executables()) {
    SCOPED_TRACE(Utf8(executable));
    EXPECT_THAT(Image(executable).Libraries(),
                AllOf(Not(IsEmpty()), Each(AnyOf("kernel32.dll", "advapi32.dll", "shell32.dll",
                                                 "shlwapi.dll", "ntdll.dll", "msvcrt.dll"))));
  }
}

TEST(ExecutableTest, IsA64BitConsoleProgram) {
  for (const std::wstring& executable : Executables()) {
    SCOPED_TRACE(Utf8(executable));
    const IMAGE_NT_HEADERS64 headers = Image(executable).Headers();
    EXPECT_EQ(headers.FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
    EXPECT_EQ(headers.OptionalHeader.Magic, IMAGE_NT_OPTIONAL_HDR64_MAGIC);
    EXPECT_EQ(headers.OptionalHeader.Subsystem, IMAGE_SUBSYSTEM_WINDOWS_CUI);
  }
}

TEST(ExecutableTest, IsLoadedAnywhereAndRunsNoData) {
  for (const std::wstring& executable : Executables()) {
    SCOPED_TRACE(Utf8(executable));
    const Image image(executable);
    const unsigned int needed = IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                                IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                                IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(image.Headers().OptionalHeader.DllCharacteristics & needed, needed);
    // Without relocations the platform could not move it.
    EXPECT_EQ(image.Headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
    EXPECT_NE(image.Headers()
                  .OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC]
                  .VirtualAddress,
              0U);
    ASSERT_THAT(image.Sections(), Not(IsEmpty()));
    for (const IMAGE_SECTION_HEADER& section : image.Sections()) {
      const DWORD both = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
      EXPECT_NE(section.Characteristics & both, both)
          << std::string(reinterpret_cast<const char*>(section.Name), sizeof section.Name);
    }
  }
}

#ifdef OSTREL_SOURCE_DIRECTORY
TEST(ExecutableTest, DoesNotTellWhereItWasBuilt) {
  for (const std::wstring& executable : Executables()) {
    SCOPED_TRACE(Utf8(executable));
    EXPECT_EQ(Image(executable).Bytes().find(OSTREL_SOURCE_DIRECTORY), std::string::npos);
  }
}

#ifdef NDEBUG
TEST(ExecutableTest, HoldsNoDebugInformation) {
  for (const std::wstring& executable : Executables()) {
    SCOPED_TRACE(Utf8(executable));
    const Image image(executable);
    EXPECT_EQ(image.Headers().FileHeader.NumberOfSymbols, 0U);
    EXPECT_EQ(image.Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DEBUG].Size, 0U);
    for (const char* const trace : {".debug_", ".cpp", "build/", "build\\", ".pdb"}) {
      EXPECT_EQ(image.Bytes().find(trace), std::string::npos) << trace;
    }
  }
}
#endif
#endif

}  // namespace
}  // namespace end_to_end
