#pragma once

#include <memory>
#include <string>

#include "tool/view/viewing.h"

namespace tool {

/// Serves one viewing to the browsers of this machine, on 127.0.0.1 alone. Whoever does not know the address's secret, or comes
/// from the page of another site, is refused.
class ViewServer {
 public:
  /// Takes the port, any free one for 0. Throws std::runtime_error with a sentence when it cannot be had.
  ViewServer(Viewing& viewing, int port);
  /// Ends every connection.
  ~ViewServer();
  ViewServer(const ViewServer&) = delete;
  ViewServer& operator=(const ViewServer&) = delete;

  /// What a browser is to open.
  const std::string& address() const;

 private:
  class Connections;
  std::unique_ptr<Connections> connections_;
};

}  // namespace tool
