# Signal hub, popup chain and first-use guidance.
target_sources(OrvCommon PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/../hub_logging.cpp ${CMAKE_CURRENT_LIST_DIR}/../hub_logging.h
    ${CMAKE_CURRENT_LIST_DIR}/../imsignaltypes.h
    ${CMAKE_CURRENT_LIST_DIR}/../opaquecommonpod.h
    ${CMAKE_CURRENT_LIST_DIR}/../openstudyactivitydetailfromtodopod.h
    ${CMAKE_CURRENT_LIST_DIR}/../imsignalobject.cpp ${CMAKE_CURRENT_LIST_DIR}/../imsignalobject.h
)
target_link_libraries(OrvCommon PUBLIC OrvMedia OrvHttp)
