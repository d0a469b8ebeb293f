// The console's web server against browsers that mean no good.
#include "sim/console/web_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "sim/console/request_check.h"

namespace ravd::sim {
namespace {

TEST(RequestCheck, TokenHostAndOrigin) {
    const std::string token = random_token();
    EXPECT_EQ(token.size(), 32U);
    EXPECT_NE(token, random_token());
    const auto rest = [&](std::string_view path) { return strip_token(token, path) ? std::string(path) : "refused"; };
    EXPECT_EQ(rest("/" + token + "/a"), "/a");
    for (const std::string& wrong : {std::string("/"), std::string("/a"), "/" + token.substr(1) + "/a",
                                     "/" + token + "x/a", "//" + token + "/a", std::string()})
        EXPECT_EQ(rest(wrong), "refused") << wrong;
    for (const char* ours : {"127.0.0.1:80", "LOCALHOST:80", "127.0.0.1"})
        EXPECT_TRUE(host_is_ours(ours, "127.0.0.1", 80)) << ours;
    for (const char* other :
         {"", ":80", "evil.example:80", "127.0.0.1:81", "127.0.0.1.evil.example:80", "localhost:8080"})
        EXPECT_FALSE(host_is_ours(other, "127.0.0.1", 80)) << other;
    EXPECT_FALSE(host_is_ours("127.0.0.1", "127.0.0.1", 8080));
    EXPECT_TRUE(origin_is_ours("http://a:1", "a:1"));
    for (const char* other : {"", "null", "http://", "http://b:1", "http://a:1.b", "ftp://a:1", "a:1"})
        EXPECT_FALSE(origin_is_ours(other, "a:1")) << other;
}

// The server on a thread of its own, with a page and, beside its directory, a file that is nobody's business.
class WebServer : public testing::Test, public web_listener {
  protected:
    void serve(const std::string& address) {
        char name[] = "/tmp/ravd-web-test-XXXXXX";
        place_ = mkdtemp(name);
        mkdir((place_ + "/page").c_str(), 0700);
        mkdir((place_ + "/page/views").c_str(), 0700);
        for (const char* file :
             {"/secret.js", "/page/index.html", "/page/views/air.js", "/page/.hidden.js", "/page/x.sh"})
            std::ofstream(place_ + file) << "body of " << file;
        web_options options;
        options.address = address;
        options.files = place_ + "/page";
        std::string error;
        ASSERT_TRUE(server_.start(options, error)) << error;
        const std::string url = server_.url();
        port_ = static_cast<std::uint16_t>(std::stoi(url.substr(url.find(':', 7) + 1)));
        base_ = url.substr(url.find('/', 8));
        ASSERT_EQ(pipe(stop_), 0);
        loop_.watch(stop_[0], POLLIN, [this](short) { loop_.stop(); });
        thread_ = std::thread([this] { loop_.run(); });
    }
    void TearDown() override {
        ASSERT_EQ(write(stop_[1], "", 1), 1);
        thread_.join();
        close(stop_[0]);
        close(stop_[1]);
        ASSERT_EQ(std::system(("rm -r " + place_).c_str()), 0);
    }

    void viewer_joined(unsigned viewer) override {
        ++joined_;
        server_.send(viewer, make_frame("hello"));
    }
    void viewer_said(unsigned viewer, std::string_view text) override {
        const web_frame piece = make_frame(std::string(1 << 20, 'x'));
        if (text == "flood")
            for (int i = 0; i < 60; ++i)
                server_.send(viewer, piece);
        else
            server_.send(viewer, make_frame("heard " + std::to_string(text.size())));
    }
    void viewer_drained(unsigned) override {}
    void viewer_left(unsigned) override { ++left_; }
    std::string download_piece(std::uint64_t& at) override { return at++ < 3 ? "line\n" : ""; }

    unique_fd connected() const {
        unique_fd fd(socket(AF_INET, SOCK_STREAM, 0));
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return fd;
    }
    // What comes until `end` has come, or the end of the connection.
    static std::string read_until(const unique_fd& fd, const std::string& end) {
        std::string text;
        char bytes[4096];
        pollfd ready = {fd.get(), POLLIN, 0};
        while ((end.empty() || text.find(end) == std::string::npos) && poll(&ready, 1, 60000) > 0) {
            const ssize_t n = recv(fd.get(), bytes, sizeof bytes, 0);
            if (n <= 0) break;
            text.append(bytes, static_cast<std::size_t>(n));
        }
        return text;
    }
    static void put(const unique_fd& fd, const std::string& bytes) {
        (void)!send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }
    std::string ask(const std::string& path, const std::string& method = "GET",
                    const std::string& host_name = "") const {
        const unique_fd fd = connected();
        put(fd, method + " " + path + " HTTP/1.1\r\nHost: " + (host_name.empty() ? host() : host_name) +
                    "\r\nConnection: close\r\n\r\n");
        return read_until(fd, "");
    }
    unique_fd upgraded(std::string& answer, const std::string& path, const std::string& origin,
                       const std::string& protocol = "ravd-console") const {
        unique_fd fd = connected();
        put(fd, "GET " + path + " HTTP/1.1\r\nHost: " + host() + "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n" +
                    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n" +
                    (origin.empty() ? "" : "Origin: " + origin + "\r\n") + "Sec-WebSocket-Protocol: " + protocol +
                    "\r\n\r\n");
        answer = read_until(fd, "\r\n\r\n");
        return fd;
    }
    unique_fd viewer() const {
        std::string answer;
        unique_fd fd = upgraded(answer, base_ + "live", "http://" + host());
        EXPECT_NE(answer.find(" 101 "), std::string::npos) << answer;
        return fd;
    }
    // A text frame of a client, with a mask of zeros.
    static std::string frame(std::uint64_t size, const std::string& payload) {
        std::string head = "\x81\xff";
        for (int shift = 56; shift >= 0; shift -= 8)
            head += static_cast<char>(size >> shift & 0xff);
        return head + std::string(4, '\0') + payload;
    }
    template <typename Condition>
    static bool soon(Condition holds) {
        for (int i = 0; i < 6000 && !holds(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return holds();
    }

    event_loop loop_;
    std::string place_;
    std::string base_;
    std::uint16_t port_ = 0;
    int stop_[2] = {-1, -1};
    std::atomic<int> joined_{0};
    std::atomic<int> left_{0};
    std::thread thread_;
    web_server server_{loop_, *this};
};

TEST_F(WebServer, HandsOutThePageAndNothingElse) {
    serve("127.0.0.1");
    const std::string index = ask("/");
    EXPECT_EQ(index.find("HTTP/1.1 200"), 0U) << index;
    EXPECT_NE(index.find("body of /page/index.html"), std::string::npos);
    EXPECT_NE(index.find("content-security-policy: default-src 'self'"), std::string::npos);
    EXPECT_NE(index.find("x-content-type-options: nosniff"), std::string::npos);
    EXPECT_NE(ask("/views/air.js?x=/../../secret.js").find("body of /page/views/air.js"), std::string::npos);
    EXPECT_NE(ask("/log.jsonl").find("line\nline\nline\n"), std::string::npos);
    for (const std::string& path :
         {std::string("/../secret.js"), std::string("/views/../../secret.js"), std::string("/%2e%2e/secret.js"),
          std::string("/..%2fsecret.js"), std::string("/views/..%2f..%2fsecret.js"), "/" + place_ + "/secret.js",
          "//" + place_ + "/secret.js", std::string("/.hidden.js"), std::string("/x.sh"), std::string("/views"),
          std::string("/index.html/"), std::string("/index.html%00.js"), "/" + std::string(3000, 'a')}) {
        const std::string answer = ask(path);
        EXPECT_EQ(answer.find(" 200 "), std::string::npos) << path;
        EXPECT_EQ(answer.find("body of"), std::string::npos) << path;
    }
    for (const char* method : {"POST", "PUT", "DELETE", "HEAD", "OPTIONS", "BREW"})
        EXPECT_EQ(ask("/", method).find(" 200 "), std::string::npos) << method;
    EXPECT_NE(ask("/", "GET", "evil.example").find(" 403 "), std::string::npos);
    EXPECT_NE(ask("/", "GET", "evil.example:" + std::to_string(port_)).find(" 403 "), std::string::npos);
    const unique_fd noise = connected();
    put(noise, std::string(100000, '\x80') + "\r\n\r\n");
    EXPECT_NE(ask("/").find(" 200 "), std::string::npos);
}

TEST_F(WebServer, AsksForTheTokenEverywhereOnOtherAddresses) {
    serve("0.0.0.0");
    ASSERT_EQ(base_.size(), 34U);
    EXPECT_NE(ask(base_).find(" 200 "), std::string::npos);
    EXPECT_NE(ask(base_ + "views/air.js", "GET", "any.example").find(" 200 "), std::string::npos);
    for (const std::string& path : {std::string("/"), std::string("/index.html"), std::string("/log.jsonl"),
                                    base_.substr(0, 33), base_.substr(0, 32) + "/", "/" + std::string(32, '0') + "/"})
        EXPECT_NE(ask(path).find(" 404 "), std::string::npos) << path;
    std::string answer;
    upgraded(answer, "/live", "http://" + host());
    EXPECT_NE(answer.find(" 404 "), std::string::npos) << answer;
    EXPECT_EQ(joined_, 0);
    const unique_fd ours = viewer();
    EXPECT_TRUE(soon([&] { return joined_ == 1; }));
}

TEST_F(WebServer, OpensWebsocketsForItsOwnPageOnly) {
    serve("127.0.0.1");
    const std::string ours = "http://" + host();
    std::string answer;
    for (const std::string& origin : {std::string("http://evil.example"), std::string(), std::string("null")}) {
        upgraded(answer, "/live", origin);
        EXPECT_NE(answer.find(" 403 "), std::string::npos) << origin << answer;
    }
    upgraded(answer, "/live", ours, "websock-rrm");
    EXPECT_NE(answer.find(" 403 "), std::string::npos) << answer;
    upgraded(answer, "/", ours);
    EXPECT_NE(answer.find(" 404 "), std::string::npos) << answer;
    EXPECT_EQ(joined_, 0);

    const unique_fd one = viewer();
    put(one, frame(5, "hallo"));
    EXPECT_NE(read_until(one, "heard 5").find("heard 5"), std::string::npos);
    // More than a request may hold, announced or in pieces without an end; and what is no frame.
    for (const std::string& bytes : {frame(std::uint64_t{1} << 40, std::string(3 << 20, 'x')),
                                     "\x01" + frame(700000, std::string(700000, 'x')).substr(1) +
                                         std::string("\x00", 1) + frame(700000, std::string(700000, 'x')).substr(1),
                                     std::string("\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff")}) {
        const unique_fd rude = viewer();
        const int before = left_;
        put(rude, bytes);
        EXPECT_TRUE(soon([&] { return left_ > before; }));
    }
    put(one, frame(3, "abc"));
    EXPECT_NE(read_until(one, "heard 3").find("heard 3"), std::string::npos);
}

TEST_F(WebServer, BoundsViewersConnectionsAndWhatWaits) {
    serve("127.0.0.1");
    const unique_fd patient = viewer();
    {
        const unique_fd slow = viewer();
        put(slow, frame(5, "flood"));  // and reads nothing
        EXPECT_TRUE(soon([&] { return left_ == 1; }));
    }
    put(patient, frame(2, "ab"));
    EXPECT_NE(read_until(patient, "heard 2").find("heard 2"), std::string::npos);

    std::vector<unique_fd> many;
    while (many.size() + 1 < viewer_limit)
        many.push_back(viewer());
    std::string answer;
    upgraded(answer, "/live", "http://" + host());
    EXPECT_NE(answer.find(" 503 "), std::string::npos) << answer;
    many.clear();
    EXPECT_TRUE(soon([&] { return left_ == static_cast<int>(viewer_limit); }));

    while (many.size() < 2 * web_connection_limit)
        many.push_back(connected());
    many.clear();
    EXPECT_NE(ask("/").find(" 200 "), std::string::npos);
}

}  // namespace
}  // namespace ravd::sim
