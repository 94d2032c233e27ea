# SPDX-License-Identifier: Apache-2.0
# The program orvspc, and the library that renders for it.

# What turns results into text, SVG, HTML and JSON, for hosts of any kind. What a host needs of it:
# of each family how a result is read, what is drawn of it, and its formats.
set(render_headers core/Html.h core/Json.h core/Numbers.h core/PlainText.h core/ResolvedOption.h
                   core/Scene.h core/Text.h core/Words.h)
foreach(family chart capability pareto states compliance events data)
  file(GLOB family_headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/host/render
       ${PROJECT_SOURCE_DIR}/host/render/${family}/[A-Z]*.h)
  list(APPEND render_headers ${family_headers})
endforeach()
list(TRANSFORM render_headers PREPEND host/render/)
file(GLOB study_sources CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
     ${PROJECT_SOURCE_DIR}/host/render/study/*.cpp)
orvspc_library(render DIR host/render BASE . PUBLIC_HEADERS ${render_headers} EXCLUDE ${study_sources}
               LINK orvspc_analysis fmt::fmt)
file(GLOB assets CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/render/core/assets/*)
orvspc_embed(orvspc_render Assets HEADER host/render/core/Assets.h NAMESPACE orvspc::render
             FILES ${assets})

# The family of the studies, which alone knows a header of the engine.
file(GLOB study_headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
     ${PROJECT_SOURCE_DIR}/host/render/study/[A-Z]*.h)
orvspc_library(render_studies DIR host/render/study BASE . PUBLIC_HEADERS ${study_headers}
               LINK orvspc_render orvspc_studies)

# The program.
orvspc_library(cli DIR host/cli BASE . PRIVATE EXCLUDE host/cli/main.cpp
               LINK orvspc_render orvspc_render_studies orvspc_analysis orvspc_embedded orvspc_studies orvspc_system)
file(GLOB samples CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/samples/*.csv)
orvspc_embed(orvspc_cli Samples HEADER host/cli/Samples.h NAMESPACE orvspc::cli FILES ${samples})
file(GLOB readings CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/samples/studies/*.csv)
orvspc_embed(orvspc_cli StudySamples HEADER host/cli/Samples.h NAMESPACE orvspc::cli FILES ${readings})
orvspc_build_info(orvspc_cli)
if(ORVSPC_POSTGRESQL)
  target_link_libraries(orvspc_cli PUBLIC orvspc_postgres)
  target_compile_definitions(orvspc_cli PUBLIC ORVSPC_POSTGRESQL)
endif()
if(ORVSPC_WEBHOOKS)
  target_link_libraries(orvspc_cli PUBLIC orvspc_webhooks)
  target_compile_definitions(orvspc_cli PUBLIC ORVSPC_WEBHOOKS)
endif()
# Nothing here takes time when it runs, and -O3 is a third of what a release takes to build.
target_compile_options(orvspc_cli PRIVATE $<$<CONFIG:Release>:-O1>)
orvspc_program(orvspc SOURCES host/cli/main.cpp LINK orvspc_cli)
if(WIN32)
  orvspc_resources(orvspc)
endif()
