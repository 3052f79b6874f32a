# The module descriptions and their resource ids.
set(LXAPI_RESOURCES
  105=${CMAKE_CURRENT_LIST_DIR}/lxgammacorrectionfilter.xml
  108=${CMAKE_CURRENT_LIST_DIR}/lxbalanceratiofilter.xml
  109=${CMAKE_CURRENT_LIST_DIR}/lxpixelformatconverter.xml
  110=${CMAKE_CURRENT_LIST_DIR}/lxreverseconverter.xml
  111=${CMAKE_CURRENT_LIST_DIR}/lxcolortransformationfilter.xml
  113=${CMAKE_CURRENT_LIST_DIR}/lxflatfieldcorrectionfilter.xml
  114=${CMAKE_CURRENT_LIST_DIR}/lxchromasuppressionfilter.xml
  117=${CMAKE_CURRENT_LIST_DIR}/lxstillimagewriter.xml
  119=${CMAKE_CURRENT_LIST_DIR}/lxaviwriter.xml
  121=${CMAKE_CURRENT_LIST_DIR}/lximageaveragingfilter.xml
  122=${CMAKE_CURRENT_LIST_DIR}/lxdefectivepixeldetectionfilter.xml
)
