#include "sorvanta/tool_form_page.h"

#include <dlfcn.h>

#include <cstdio>

#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_form_pages.h"
#include "sorvanta/tool_output.h"
#include "sorvanta/tool_page_server.h"

namespace {

constexpr const char* MODULE = "sorvanta_page.so";
constexpr int FAILED = 500;

constexpr const char* PAGE =
#include "sorvanta/tool_form_page.inc"
    ;

PageReply answer(FormPages* pages, const std::string& request) {
  const auto told = [](const std::string& text) { return "{\"error\":" + Output::json_text(text) + "}"; };
  try {
    return {.body = pages->answer(request)};
  } catch (const PageRefusal& refusal) {
    return {refusal.status, told(refusal.text)};
  } catch (...) {
    return {FAILED, told(current_failure())};
  }
}

}  // namespace

void serve_form(Target* target, int port) {
  void* const module = dlopen(MODULE, RTLD_NOW);  // stays: its threads may be anywhere in it
  void* const entry = module != nullptr ? dlsym(module, "sorvanta_serve_page") : nullptr;
  if (entry == nullptr) throw Failure(std::string("the page needs ") + MODULE + ": " + dlerror());
  FormPages pages(target);
  const PageSite site{PAGE, port, [&](const std::string& request) { return answer(&pages, request); },
                      [](const std::string& address) {
                        std::printf("%s\nOpen this address in a browser on this machine; Ctrl-C ends it.\n",
                                    address.c_str());
                        Output::check(stdout, "standard output");
                      }};
  reinterpret_cast<decltype(&sorvanta_serve_page)>(entry)(&site);
}
