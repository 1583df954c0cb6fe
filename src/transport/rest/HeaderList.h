#pragma once

#include <cstring>
#include <memory>

#include <curl/curl.h>

namespace Rest {

/// Wipes the lines before it frees them: headers may hold an account or a session's token.
struct HeaderListDeleter {
  void operator()(curl_slist* list) const noexcept {
    for (curl_slist* line = list; line != nullptr; line = line->next) {
      explicit_bzero(line->data, std::strlen(line->data));
    }
    curl_slist_free_all(list);
  }
};
using HeaderList = std::unique_ptr<curl_slist, HeaderListDeleter>;

}  // namespace Rest
