#include "FailureText.h"

#include <sqlite3.h>

namespace vantor::db {

namespace {

std::string withDetail(std::string_view sentence, std::string_view detail) {
    std::string text(sentence);
    if (!detail.empty()) text.append("（").append(detail).append("）");
    return text;
}

bool mentions(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

} // namespace

std::string fileFailureText(int code, std::string_view detail) {
    switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "数据文件一直被其他程序占用，等待后仍无法保存，请稍后重试。";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return "数据文件已损坏或不是本程序的数据文件。";
    case SQLITE_FULL:
        return "磁盘空间不足，无法写入数据文件。";
    case SQLITE_READONLY:
    case SQLITE_PERM:
        return "数据文件是只读的，无法写入。";
    case SQLITE_CANTOPEN:
        return "无法打开数据文件，请检查数据目录是否存在及其权限。";
    case SQLITE_IOERR:
        return "读写数据文件出错，请检查磁盘。";
    case SQLITE_NOMEM:
        return "内存不足，数据库操作失败。";
    case SQLITE_INTERRUPT:
        return "数据库操作已取消。";
    case SQLITE_CONSTRAINT:
        return withDetail("数据不符合数据库的约束，未能保存", detail);
    default:
        return withDetail("数据库操作失败", detail);
    }
}

std::string serverFailureText(std::string_view state, std::string_view detail) {
    const std::string_view kind = state.substr(0, 2);
    if (kind == "08" || state == "57P01" || state == "57P02" || state == "57P03")
        return "与数据库服务器的连接已断开，请检查网络或服务器后重试。";
    if (kind == "28") return "数据库服务器拒绝登录：用户名或密码不对。";
    if (state == "3D000") return "数据库服务器上没有这个数据库。";
    if (state == "42501") return "没有访问该数据库的权限。";
    if (kind == "53") return "数据库服务器资源不足（磁盘或内存），未能保存。";
    if (kind == "40") return "其他程序正在保存同一数据，请重试。";
    if (state == "57014") return "数据库操作已取消或超时。";
    if (kind == "23") return withDetail("数据不符合数据库的约束，未能保存", detail);
    return withDetail("数据库服务器操作失败", detail);
}

std::string connectFailureText(std::string_view detail) {
    std::string text = "无法连接数据库服务器：";
    if (mentions(detail, "password") || mentions(detail, "authentication"))
        return text + "服务器拒绝登录，用户名或密码不对。";
    if (mentions(detail, "does not exist")) return text + "服务器上没有这个数据库或用户。";
    if (mentions(detail, "could not translate host name")) return text + "主机名无法解析。";
    if (mentions(detail, "timeout")) return text + "连接超时。";
    if (mentions(detail, "Connection refused")) return text + "服务器没有运行或端口不对。";
    return text + "请检查地址、网络和服务器。";
}

} // namespace vantor::db
