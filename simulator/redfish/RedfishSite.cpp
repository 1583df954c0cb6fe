#include "simulator/redfish/RedfishSite.h"

#include <algorithm>
#include <array>
#include <functional>

#include <rapidjson/document.h>

#include "simulator/redfish/ErrorPage.h"
#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

/// What a service tells to those who have not logged in.
constexpr std::array<std::string_view, 4> kPublicPaths{"/redfish", "/redfish/v1", "/redfish/v1/odata",
                                                       "/redfish/v1/$metadata"};

bool IsPublic(std::string_view path) {
  return std::find(kPublicPaths.begin(), kPublicPaths.end(), path) != kPublicPaths.end();
}

/// The machine's own faults, or those that the machines of a library share.
std::filesystem::path FaultsFile(const std::filesystem::path& machine) {
  const std::filesystem::path own = machine / "redfish" / "faults.json";
  return std::filesystem::exists(own) ? own : machine.parent_path() / "redfish-faults.json";
}

SessionLimits Merge(const SessionLimits& ofRun, SessionLimits limits) {
  limits.count = ofRun.count ? ofRun.count : limits.count;
  limits.idle = ofRun.idle ? ofRun.idle : limits.idle;
  limits.requests = ofRun.requests ? ofRun.requests : limits.requests;
  return limits;
}

/// The path without its query, decoded, and without a "/" at its end.
std::string PathOf(const std::string& target) {
  std::string path = PercentDecode(std::string_view(target).substr(0, target.find('?')));
  if (path.size() > 1 && path.ends_with('/')) {
    path.pop_back();
  }
  return path;
}

std::string_view QueryOf(const std::string& target) {
  const std::size_t question = target.find('?');
  return question == std::string::npos ? std::string_view{} : std::string_view(target).substr(question + 1);
}

void AddCommonHeaders(HttpResponse& response) {
  SetHeader(response.headers, "Server", "kelvar-bmcsim");
  SetHeader(response.headers, "OData-Version", "4.0");
  SetHeader(response.headers, "Cache-Control", "no-cache");
  SetHeader(response.headers, "X-Content-Type-Options", "nosniff");
  if (FindHeader(response.headers, "Content-Type") == nullptr && !response.body.empty()) {
    SetHeader(response.headers, "Content-Type", "application/json; charset=utf-8");
  }
  if (response.status == 401) {
    SetHeader(response.headers, "WWW-Authenticate", "Basic realm=\"Redfish\", charset=\"UTF-8\"");
  }
  response.compressible = true;
}

constexpr std::array<std::string_view, 4> kOemTypes{"#Tavrik", "#Quorvane", "#Mendrel", "#Osperon"};

bool IsOemType(std::string_view type) {
  return std::any_of(kOemTypes.begin(), kOemTypes.end(),
                     [type](std::string_view oem) { return type.starts_with(oem); });
}

/// Where the schema of a page is published; a manufacturer's own schemas are published nowhere.
void AddSchemaLink(HttpResponse& response) {
  const auto type = JsonText::String(JsonText::Member(response.body, "@odata.type").value_or("")).value_or("");
  const std::size_t end = type.rfind('.');
  if (type.starts_with('#') && end != std::string_view::npos && !IsOemType(type)) {
    SetHeader(
        response.headers, "Link",
        "<https://redfish.dmtf.org/schemas/v1/" + std::string(type.substr(1, end - 1)) + ".json>; rel=describedby");
  }
}

}  // namespace

std::shared_ptr<const RedfishData> LoadRedfishData(const Machine& machine, const Variables& variables,
                                                   const std::function<void(ResourceTree& tree)>& change) {
  const auto data = std::make_shared<RedfishData>(machine.folder / "redfish", variables);
  if (change) {
    change(data->tree);
  }
  if (data->settings.anyCase) {
    data->tree.IgnoreCase();
  }
  if (const auto count = machine.logEntries ? machine.logEntries : data->settings.logEntries) {
    data->tree.Grow("LogEntryCollection", *count);
  }
  if (const auto count = machine.sensors ? machine.sensors : data->settings.sensors) {
    data->tree.Grow("SensorCollection", *count);
  }
  return data;
}

RedfishSite::RedfishSite(std::shared_ptr<const Machine> machine, std::shared_ptr<const RedfishData> data,
                         const std::vector<std::string>& faults, SubstituteIdentity substitute)
    : machine_(std::move(machine)),
      data_(std::move(data)),
      substitute_(std::move(substitute)),
      sessions_(data_->settings.sessionsPath, Merge(machine_->sessions, data_->settings.sessions)) {
  faults_.Load(faults, FaultsFile(machine_->folder));
}

HttpResponse RedfishSite::Respond(const HttpRequest& request) {
  HttpResponse response = Dispatch(request, PathOf(request.target));
  AddCommonHeaders(response);
  response.fault = faults_.Match(request.method, request.target);
  const std::string* opened = FindHeader(response.headers, "Location");
  if (opened != nullptr && response.fault && response.fault->status.value_or(201) >= 400) {
    // The fault stands for a service that has refused: no session is left open.
    sessions_.Close(std::string_view(*opened).substr(opened->find(sessions_.Path())));
    std::erase_if(response.headers,
                  [](const auto& header) { return header.first == "Location" || header.first == "X-Auth-Token"; });
  }
  return response;
}

HttpResponse RedfishSite::Dispatch(const HttpRequest& request, const std::string& path) {
  if (request.method == "POST" && path == sessions_.Path()) {
    return OpenSession(request);
  }
  if (auto refusal = RefuseStranger(request, path)) {
    return std::move(*refusal);
  }
  if (const std::string* version = FindHeader(request.headers, "OData-Version"); version && *version != "4.0") {
    return ErrorPage(RedfishError::ODataVersion, "OData-Version");
  }
  if (request.method == "GET" || request.method == "HEAD") {
    return ServePage(request, path);
  }
  if (request.method == "DELETE" && sessions_.Close(path)) {
    HttpResponse closed;
    closed.status = 204;
    return closed;
  }
  if (!FindPage(path)) {
    return ErrorPage(RedfishError::ResourceMissing, path);
  }
  HttpResponse refusal = ErrorPage(RedfishError::MethodNotAllowed, path);
  SetHeader(refusal.headers, "Allow", path == sessions_.Path() ? "GET, HEAD, POST" : "GET, HEAD");
  return refusal;
}

HttpResponse RedfishSite::ServePage(const HttpRequest& request, const std::string& path) {
  auto page = FindPage(path);
  if (!page) {
    return ErrorPage(RedfishError::ResourceMissing, path);
  }
  HttpResponse response;
  SetHeader(response.headers, "Allow", IsSession(path) ? "GET, HEAD, DELETE" : "GET, HEAD");
  if (page->starts_with("<?xml")) {
    SetHeader(response.headers, "Content-Type", "application/xml; charset=utf-8");
    response.body = std::move(*page);
    return response;
  }
  std::optional<HttpResponse> refusal;
  const RedfishQuery query = ParseQuery(QueryOf(request.target), data_->settings.queries, refusal);
  if (refusal) {
    return std::move(*refusal);
  }
  response.body = std::move(*page);
  AddSchemaLink(response);
  const auto pageSize = data_->settings.pageSize.find(path);
  response.body = CutPage(std::move(response.body), path, query,
                          pageSize == data_->settings.pageSize.end() ? std::nullopt : std::optional(pageSize->second));
  if (query.expand) {
    response.body =
        Expand(response.body, *query.expand, [this](std::string_view reference) { return FindPage(reference); });
  }
  const std::string tag = "W/\"" + std::to_string(std::hash<std::string>{}(response.body)) + '"';
  SetHeader(response.headers, "ETag", tag);
  const std::string* known = FindHeader(request.headers, "If-None-Match");
  if (known != nullptr && *known == tag) {
    response.status = 304;
    response.body.clear();
  }
  return response;
}

HttpResponse RedfishSite::OpenSession(const HttpRequest& request) {
  rapidjson::Document login;
  login.Parse<rapidjson::kParseIterativeFlag>(request.body.c_str());
  const auto text = [&login](const char* key) {
    const bool there = login.IsObject() && login.HasMember(key) && login[key].IsString();
    return there ? std::string(login[key].GetString()) : std::string();
  };
  if (login.HasParseError()) {
    return ErrorPage(RedfishError::MalformedJson);
  }
  if (!machine_->Accepts(text("UserName"), text("Password"))) {
    return ErrorPage(RedfishError::WrongCredentials, sessions_.Path());
  }
  auto session = sessions_.Open(text("UserName"));
  if (!session) {
    return ErrorPage(RedfishError::SessionLimitExceeded);
  }
  const std::string* host = FindHeader(request.headers, "Host");
  const std::string origin = data_->settings.absoluteLocation && host != nullptr ? "https://" + *host : std::string();
  HttpResponse response;
  response.status = 201;
  response.headers = {{"Location", origin + session->path}, {"X-Auth-Token", session->token}};
  response.body = std::move(session->page);
  return response;
}

bool RedfishSite::IsSession(std::string_view path) const {
  return path.starts_with(sessions_.Path()) && path.size() > sessions_.Path().size();
}

std::optional<std::string> RedfishSite::FindPage(std::string_view path) const {
  auto session = path.starts_with(sessions_.Path()) ? sessions_.Find(path) : std::nullopt;
  auto page = session ? std::move(session) : data_->tree.Find(path);
  return page && substitute_ ? substitute_(*page) : page;
}

std::optional<HttpResponse> RedfishSite::RefuseStranger(const HttpRequest& request, const std::string& path) {
  if (IsPublic(path) && (!data_->settings.loginForRoot || path == "/redfish")) {
    return std::nullopt;
  }
  const std::string* token = FindHeader(request.headers, "X-Auth-Token");
  if (token != nullptr && sessions_.Admit(*token)) {
    return std::nullopt;
  }
  const auto login = BasicCredentials(request);
  if (login && machine_->Accepts(login->user, login->password)) {
    return std::nullopt;
  }
  return ErrorPage(login ? RedfishError::WrongCredentials : RedfishError::NoValidSession, path);
}

}  // namespace Kelvar::Simulator
