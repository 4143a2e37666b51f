-- ###############################################################
--          intc_reg_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

package intc_reg_pkg is

-- Archive Variables
constant IRQ_COUNT:                             integer := 16;
--Priority bits per source; 0 is the highest priority.
constant IRQ_PRIO_BITS:                         integer := 4;
--Interrupt line numbers.
subtype IRQ_LINES is                            integer range IRQ_COUNT - 1 downto 0;
constant IRQ_WDT:                               integer := 0;
constant IRQ_RCC:                               integer := 1;
constant IRQ_GPIO:                              integer := 2;
constant IRQ_DMA_CH0:                           integer := 3;
constant IRQ_DMA_CH1:                           integer := 4;
--Channels 2 to 7, shared line.
constant IRQ_DMA_CH2_7:                         integer := 5;
constant IRQ_TIM2:                              integer := 6;
constant IRQ_TIM3:                              integer := 7;
constant IRQ_UART0:                             integer := 8;
constant IRQ_UART1:                             integer := 9;
constant IRQ_CRC:                               integer := 10;
constant IRQ_USB:                               integer := 11;
--Software interrupts: raised only through SWTRIG.
constant IRQ_SW0:                               integer := 12;
constant IRQ_SW1:                               integer := 13;
constant IRQ_SW2:                               integer := 14;
constant IRQ_SW3:                               integer := 15;

-- Register definition
-- Register Map
-- Address bit for register decoding
constant INTC_REG_NBA: natural := 6;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_STATUS:                             integer := 0;
-- logical map
constant l_ST_IRQ_WDT:                          integer := 0;
constant l_ST_IRQ_RCC:                          integer := 1;
constant l_ST_IRQ_GPIO:                         integer := 2;
constant l_ST_IRQ_DMA_CH0:                      integer := 3;
constant l_ST_IRQ_DMA_CH1:                      integer := 4;
constant l_ST_IRQ_DMA_CH2_7:                    integer := 5;
constant l_ST_IRQ_TIM2:                         integer := 6;
constant l_ST_IRQ_TIM3:                         integer := 7;
constant l_ST_IRQ_UART0:                        integer := 8;
constant l_ST_IRQ_UART1:                        integer := 9;
constant l_ST_IRQ_CRC:                          integer := 10;
constant l_ST_IRQ_USB:                          integer := 11;
constant l_ST_IRQ_SW0:                          integer := 12;
constant l_ST_IRQ_SW1:                          integer := 13;
constant l_ST_IRQ_SW2:                          integer := 14;
constant l_ST_IRQ_SW3:                          integer := 15;
subtype  l_ST is                                integer range 15 downto 0;
-- physical map
constant p_ST_IRQ_WDT:                          integer := 0;
constant p_ST_IRQ_RCC:                          integer := 1;
constant p_ST_IRQ_GPIO:                         integer := 2;
constant p_ST_IRQ_DMA_CH0:                      integer := 3;
constant p_ST_IRQ_DMA_CH1:                      integer := 4;
constant p_ST_IRQ_DMA_CH2_7:                    integer := 5;
constant p_ST_IRQ_TIM2:                         integer := 6;
constant p_ST_IRQ_TIM3:                         integer := 7;
constant p_ST_IRQ_UART0:                        integer := 8;
constant p_ST_IRQ_UART1:                        integer := 9;
constant p_ST_IRQ_CRC:                          integer := 10;
constant p_ST_IRQ_USB:                          integer := 11;
constant p_ST_IRQ_SW0:                          integer := 12;
constant p_ST_IRQ_SW1:                          integer := 13;
constant p_ST_IRQ_SW2:                          integer := 14;
constant p_ST_IRQ_SW3:                          integer := 15;
subtype  p_ST is                                integer range 15 downto 0;
subtype range_STATUS is                         integer range 15 downto 0;

constant at_ENABLE:                             integer := 4;
-- logical map
constant l_EN_IRQ_WDT:                          integer := 0;
constant l_EN_IRQ_RCC:                          integer := 1;
constant l_EN_IRQ_GPIO:                         integer := 2;
constant l_EN_IRQ_DMA_CH0:                      integer := 3;
constant l_EN_IRQ_DMA_CH1:                      integer := 4;
constant l_EN_IRQ_DMA_CH2_7:                    integer := 5;
constant l_EN_IRQ_TIM2:                         integer := 6;
constant l_EN_IRQ_TIM3:                         integer := 7;
constant l_EN_IRQ_UART0:                        integer := 8;
constant l_EN_IRQ_UART1:                        integer := 9;
constant l_EN_IRQ_CRC:                          integer := 10;
constant l_EN_IRQ_USB:                          integer := 11;
constant l_EN_IRQ_SW0:                          integer := 12;
constant l_EN_IRQ_SW1:                          integer := 13;
constant l_EN_IRQ_SW2:                          integer := 14;
constant l_EN_IRQ_SW3:                          integer := 15;
subtype  l_EN is                                integer range 15 downto 0;
-- physical map
constant p_EN_IRQ_WDT:                          integer := 0;
constant p_EN_IRQ_RCC:                          integer := 1;
constant p_EN_IRQ_GPIO:                         integer := 2;
constant p_EN_IRQ_DMA_CH0:                      integer := 3;
constant p_EN_IRQ_DMA_CH1:                      integer := 4;
constant p_EN_IRQ_DMA_CH2_7:                    integer := 5;
constant p_EN_IRQ_TIM2:                         integer := 6;
constant p_EN_IRQ_TIM3:                         integer := 7;
constant p_EN_IRQ_UART0:                        integer := 8;
constant p_EN_IRQ_UART1:                        integer := 9;
constant p_EN_IRQ_CRC:                          integer := 10;
constant p_EN_IRQ_USB:                          integer := 11;
constant p_EN_IRQ_SW0:                          integer := 12;
constant p_EN_IRQ_SW1:                          integer := 13;
constant p_EN_IRQ_SW2:                          integer := 14;
constant p_EN_IRQ_SW3:                          integer := 15;
subtype  p_EN is                                integer range 15 downto 0;
subtype range_ENABLE is                         integer range 15 downto 0;

constant at_FLAG:                               integer := 8;
-- logical map
constant l_PF_IRQ_WDT:                          integer := 0;
constant l_PF_IRQ_RCC:                          integer := 1;
constant l_PF_IRQ_GPIO:                         integer := 2;
constant l_PF_IRQ_DMA_CH0:                      integer := 3;
constant l_PF_IRQ_DMA_CH1:                      integer := 4;
constant l_PF_IRQ_DMA_CH2_7:                    integer := 5;
constant l_PF_IRQ_TIM2:                         integer := 6;
constant l_PF_IRQ_TIM3:                         integer := 7;
constant l_PF_IRQ_UART0:                        integer := 8;
constant l_PF_IRQ_UART1:                        integer := 9;
constant l_PF_IRQ_CRC:                          integer := 10;
constant l_PF_IRQ_USB:                          integer := 11;
constant l_PF_IRQ_SW0:                          integer := 12;
constant l_PF_IRQ_SW1:                          integer := 13;
constant l_PF_IRQ_SW2:                          integer := 14;
constant l_PF_IRQ_SW3:                          integer := 15;
subtype  l_PF is                                integer range 15 downto 0;
-- physical map
constant p_PF_IRQ_WDT:                          integer := 0;
constant p_PF_IRQ_RCC:                          integer := 1;
constant p_PF_IRQ_GPIO:                         integer := 2;
constant p_PF_IRQ_DMA_CH0:                      integer := 3;
constant p_PF_IRQ_DMA_CH1:                      integer := 4;
constant p_PF_IRQ_DMA_CH2_7:                    integer := 5;
constant p_PF_IRQ_TIM2:                         integer := 6;
constant p_PF_IRQ_TIM3:                         integer := 7;
constant p_PF_IRQ_UART0:                        integer := 8;
constant p_PF_IRQ_UART1:                        integer := 9;
constant p_PF_IRQ_CRC:                          integer := 10;
constant p_PF_IRQ_USB:                          integer := 11;
constant p_PF_IRQ_SW0:                          integer := 12;
constant p_PF_IRQ_SW1:                          integer := 13;
constant p_PF_IRQ_SW2:                          integer := 14;
constant p_PF_IRQ_SW3:                          integer := 15;
subtype  p_PF is                                integer range 15 downto 0;
subtype range_FLAG is                           integer range 15 downto 0;

constant at_SWTRIG:                             integer := 12;
-- logical map
constant l_SWT_IRQ_WDT:                         integer := 0;
constant l_SWT_IRQ_RCC:                         integer := 1;
constant l_SWT_IRQ_GPIO:                        integer := 2;
constant l_SWT_IRQ_DMA_CH0:                     integer := 3;
constant l_SWT_IRQ_DMA_CH1:                     integer := 4;
constant l_SWT_IRQ_DMA_CH2_7:                   integer := 5;
constant l_SWT_IRQ_TIM2:                        integer := 6;
constant l_SWT_IRQ_TIM3:                        integer := 7;
constant l_SWT_IRQ_UART0:                       integer := 8;
constant l_SWT_IRQ_UART1:                       integer := 9;
constant l_SWT_IRQ_CRC:                         integer := 10;
constant l_SWT_IRQ_USB:                         integer := 11;
constant l_SWT_IRQ_SW0:                         integer := 12;
constant l_SWT_IRQ_SW1:                         integer := 13;
constant l_SWT_IRQ_SW2:                         integer := 14;
constant l_SWT_IRQ_SW3:                         integer := 15;
subtype  l_SWT is                               integer range 15 downto 0;
-- physical map
constant p_SWT_IRQ_WDT:                         integer := 0;
constant p_SWT_IRQ_RCC:                         integer := 1;
constant p_SWT_IRQ_GPIO:                        integer := 2;
constant p_SWT_IRQ_DMA_CH0:                     integer := 3;
constant p_SWT_IRQ_DMA_CH1:                     integer := 4;
constant p_SWT_IRQ_DMA_CH2_7:                   integer := 5;
constant p_SWT_IRQ_TIM2:                        integer := 6;
constant p_SWT_IRQ_TIM3:                        integer := 7;
constant p_SWT_IRQ_UART0:                       integer := 8;
constant p_SWT_IRQ_UART1:                       integer := 9;
constant p_SWT_IRQ_CRC:                         integer := 10;
constant p_SWT_IRQ_USB:                         integer := 11;
constant p_SWT_IRQ_SW0:                         integer := 12;
constant p_SWT_IRQ_SW1:                         integer := 13;
constant p_SWT_IRQ_SW2:                         integer := 14;
constant p_SWT_IRQ_SW3:                         integer := 15;
subtype  p_SWT is                               integer range 15 downto 0;
subtype range_SWTRIG is                         integer range 15 downto 0;

constant at_PRIO0:                              integer := 16;
-- logical map
subtype  l_PRI_IRQ_WDT is                       integer range 3 downto 0;
subtype  l_PRI_IRQ_RCC is                       integer range 7 downto 4;
subtype  l_PRI_IRQ_GPIO is                      integer range 11 downto 8;
subtype  l_PRI_IRQ_DMA_CH0 is                   integer range 15 downto 12;
subtype  l_PRI_IRQ_DMA_CH1 is                   integer range 19 downto 16;
subtype  l_PRI_IRQ_DMA_CH2_7 is                 integer range 23 downto 20;
subtype  l_PRI_IRQ_TIM2 is                      integer range 27 downto 24;
subtype  l_PRI_IRQ_TIM3 is                      integer range 31 downto 28;
subtype  l_PRI_LO is                            integer range 31 downto 0;
-- physical map
subtype  p_PRI_IRQ_WDT is                       integer range 3 downto 0;
subtype  p_PRI_IRQ_RCC is                       integer range 7 downto 4;
subtype  p_PRI_IRQ_GPIO is                      integer range 11 downto 8;
subtype  p_PRI_IRQ_DMA_CH0 is                   integer range 15 downto 12;
subtype  p_PRI_IRQ_DMA_CH1 is                   integer range 19 downto 16;
subtype  p_PRI_IRQ_DMA_CH2_7 is                 integer range 23 downto 20;
subtype  p_PRI_IRQ_TIM2 is                      integer range 27 downto 24;
subtype  p_PRI_IRQ_TIM3 is                      integer range 31 downto 28;
subtype  p_PRI_LO is                            integer range 31 downto 0;
subtype range_PRIO0 is                          integer range 31 downto 0;

constant at_PRIO1:                              integer := 20;
-- logical map
subtype  l_PRI_IRQ_UART0 is                     integer range 3 downto 0;
subtype  l_PRI_IRQ_UART1 is                     integer range 7 downto 4;
subtype  l_PRI_IRQ_CRC is                       integer range 11 downto 8;
subtype  l_PRI_IRQ_USB is                       integer range 15 downto 12;
subtype  l_PRI_IRQ_SW0 is                       integer range 19 downto 16;
subtype  l_PRI_IRQ_SW1 is                       integer range 23 downto 20;
subtype  l_PRI_IRQ_SW2 is                       integer range 27 downto 24;
subtype  l_PRI_IRQ_SW3 is                       integer range 31 downto 28;
subtype  l_PRI_HI is                            integer range 31 downto 0;
-- physical map
subtype  p_PRI_IRQ_UART0 is                     integer range 3 downto 0;
subtype  p_PRI_IRQ_UART1 is                     integer range 7 downto 4;
subtype  p_PRI_IRQ_CRC is                       integer range 11 downto 8;
subtype  p_PRI_IRQ_USB is                       integer range 15 downto 12;
subtype  p_PRI_IRQ_SW0 is                       integer range 19 downto 16;
subtype  p_PRI_IRQ_SW1 is                       integer range 23 downto 20;
subtype  p_PRI_IRQ_SW2 is                       integer range 27 downto 24;
subtype  p_PRI_IRQ_SW3 is                       integer range 31 downto 28;
subtype  p_PRI_HI is                            integer range 31 downto 0;
subtype range_PRIO1 is                          integer range 31 downto 0;

constant at_VECTOR:                             integer := 24;
-- logical map
subtype  l_ACTIVE is                            integer range 4 downto 0;
constant l_VALID:                               integer := 31;
-- physical map
subtype  p_ACTIVE is                            integer range 4 downto 0;
constant p_VALID:                               integer := 5;
subtype range_VECTOR is                         integer range 5 downto 0;

constant at_EOI:                                integer := 28;
-- logical map
subtype  l_EOI is                               integer range 4 downto 0;
-- physical map
subtype  p_EOI is                               integer range 4 downto 0;
subtype range_EOI is                            integer range 4 downto 0;

constant at_CTRL:                               integer := 32;
-- logical map
constant l_GEN:                                 integer := 0;
subtype  l_THRESHOLD is                         integer range 7 downto 4;
constant l_LOCK:                                integer := 31;
-- physical map
constant p_GEN:                                 integer := 0;
subtype  p_THRESHOLD is                         integer range 4 downto 1;
constant p_LOCK:                                integer := 5;
subtype range_CTRL is                           integer range 5 downto 0;

constant at_ID:                                 integer := 48;
-- logical map
-- physical map
subtype range_ID is                             integer range 31 downto 0;


end intc_reg_pkg;
