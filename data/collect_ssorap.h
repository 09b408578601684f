// SSO registration members and the SSO login event.
#pragma once

#include <json-c/json.h>

void get_routerInfo_ssoGuiRegStatus(json_object* obj);
void get_routerInfo_ssoGUIRegNewInstall(json_object* obj);
json_object* get_ssorapLoginEvent_json();
