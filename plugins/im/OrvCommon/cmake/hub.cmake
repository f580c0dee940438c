# Signal hub, popup chain and first-use guidance.
target_sources(OrvCommon PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/../hub_logging.cpp ${CMAKE_CURRENT_LIST_DIR}/../hub_logging.h
    ${CMAKE_CURRENT_LIST_DIR}/../imsignaltypes.h
    ${CMAKE_CURRENT_LIST_DIR}/../opaquecommonpod.h
    ${CMAKE_CURRENT_LIST_DIR}/../openstudyactivitydetailfromtodopod.h
    ${CMAKE_CURRENT_LIST_DIR}/../imsignalobject.cpp ${CMAKE_CURRENT_LIST_DIR}/../imsignalobject.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyBaseItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyBaseItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyManager.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyManager.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyForceUpgradeItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyForceUpgradeItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyForceGrayUpgradeItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyForceGrayUpgradeItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyUserGuianceItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyUserGuianceItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyScreenItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyScreenItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyGrayUpgradeItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyGrayUpgradeItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyWeakupPasswdItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyWeakupPasswdItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyUserAvatarItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyUserAvatarItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyAuthNormalItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyAuthNormalItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyOpsItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyOpsItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyClassListItem.cpp ${CMAKE_CURRENT_LIST_DIR}/../PopupsSrategyClassListItem.h
    ${CMAKE_CURRENT_LIST_DIR}/../UserGuidanceHelper.cpp ${CMAKE_CURRENT_LIST_DIR}/../UserGuidanceHelper.h
)
target_link_libraries(OrvCommon PUBLIC OrvMedia OrvHttp)
