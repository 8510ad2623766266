#include "network/NetworkService.h"

#include "application/OxinApplication.h"
#include "network/NetworkConnection.h"
#include "network/NetworkManager.h"

NetworkService::NetworkService(OxinApplication* application, char* host, int length, int size,
                               int* adopt, int port, int timeout)
    : application_(application), port_(port), timeout_(timeout) {
    if (adopt && *adopt) {
        host_.assign_nocopy(host, length, size);
        *adopt = 0;
    } else {
        host_.assign(host, length);
    }
}

NetworkService::~NetworkService() = default;

bool NetworkService::Connect() {
    return Open_Connection() && Read_Status();
}

bool NetworkService::Open_Connection() {
    connection_.reset();
    NetworkManager* manager = application_->networkmanager();
    if (manager) connection_.reset(manager->Connect(host_.c_str(), port_, timeout_));
    if (connection_) return true;
    Error(String::Join({"Error connecting to '", host_.c_str(),
                        "': ", manager ? manager->error().c_str() : "No network"}));
    return false;
}
